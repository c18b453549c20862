// A year in the life of one process, in virtual time: every day the pane is opened for half an
// hour, and a client that crashes, dawdles, keeps silent, floods and is updated keeps it company.
// Memory, descriptors and threads must stay what they are after half of it, and the log files
// within their bound.

#include "AppKit/NSApplication.h"
#include "Chart.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "pane/SheetUser.h"
#include "pane/SimulatedLogin.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"
#include "Shared/QVLog.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualClock.h"
#include "System/Machine.h"

#include <algorithm>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <QAbstractButton>
#include <QApplication>
#include <QPointer>
#include <thread>

namespace {

namespace fs = std::filesystem;

constexpr int daysOfYear = 365, settled = 182;
constexpr double mostLogBytes = 5 * 512'000; // generations and their size, headers included
constexpr double openFor = 1800;             // seconds a day

std::size_t entriesOf(const char* folder) {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), {}));
}

double bytesOf(const std::string& folder) {
    double bytes = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        bytes += static_cast<double>(entry.file_size());
    }
    return bytes;
}

/// What is looked at at the end of every day.
struct Figure {
    std::string name;
    std::function<double()> value;
    double mayBe; // at most: a factor of its most in the first half, or a number
    bool isFactor;
};

class Year {
public:
    Year() {
        Machine::install(machine);
        QVLog::createNewLog("year");
    }
    ~Year() {
        NSDistributedNotificationCenter::defaultCenter().reset();
        QVLog::finishWriting();
        Machine::install(nullptr);
    }
    Year(const Year&) = delete;
    Year& operator=(const Year&) = delete;

    void liveDay(unsigned day) {
        machine->installClient(std::to_string(day / 7)); // an update a week
        SimulatedLogin login(*machine, day);
        login.prepare();
        auto pane = makeForMainThread<Tessaline_Network_ClientPref>();
        pane->loadMainView(SOURCE_DIRECTORY "/pane/Resources/Tessaline_Network_ClientPref.ui");
        pane->mainViewDidLoad();
        inviteUser(login, *pane->mainView());
        login.after(login.upTo(openFor), [] { flood(); });
        runFor(openFor);
        pane = nullptr;
        login.end();
        NSRunLoop::mainRunLoop().runUntil([] { return NSThread::running() == 0; },
                                          clock->now() + std::chrono::hours(23));
        waitForLastInstructions();
        QApplication::processEvents();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        machine->forgetCommands();
        machine->clearConsole();
        sheets.texts.clear();
        sheets.lines.clear();
        NSDistributedNotificationCenter::defaultCenter().reset();
        QVLog::finishWriting();
    }

    std::string logs() const { return machine->homeDirectory() + "/Library/Logs/Quorvane"; }

private:
    void runFor(double seconds) {
        NSRunLoop::mainRunLoop().runUntil([] { return false; },
                                          clock->now() + durationOfSeconds(seconds));
    }

    /// Presses any button, the switch more often than the others.
    static void inviteUser(SimulatedLogin& login, QWidget& view) {
        for (int presses = 1 + login.below(20); presses > 0; --presses) {
            login.after(login.upTo(openFor), [&login, view = QPointer(&view)] {
                if (!view) {
                    return;
                }
                const auto buttons = view->findChildren<QAbstractButton*>();
                buttons[login.below(static_cast<int>(buttons.size()))]->click();
            });
        }
    }

    static void flood() {
        for (int status = 0; status < 1000; ++status) {
            NSDistributedNotificationCenter::defaultCenter().postNotification(
                {.name = Tolvin::statusUpdate,
                 .object = {},
                 .userInfo = NSDictionary{{"status", std::string(1000, 'x')}}});
        }
    }

    /// A thread is counted no more before its last instructions.
    static void waitForLastInstructions() {
        for (int tries = 0; tries < 1000 && entriesOf("/proc/self/task") > 2; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    SheetUser sheets;
    TemporaryDirectory disk{"/dev/shm"};
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::shared_ptr<SimulatedMachine> machine =
        std::make_shared<SimulatedMachine>(disk.path(), clock);
};

/// Prints a line: what it came to in the first half of the year, and in all of it.
bool isBounded(const Figure& figure, const Line& days) {
    const auto most = [&](auto from, auto to) {
        return std::max_element(
                   from, to,
                   [](const auto& one, const auto& other) { return one.second < other.second; })
            ->second;
    };
    const auto begin = days.points.begin();
    const double half = most(begin, begin + settled), year = most(begin, days.points.end());
    const double limit = figure.isFactor ? half * figure.mayBe : figure.mayBe;
    std::printf("%-6s %-30s most in half a year %10.4g, in the year %10.4g (at most %.4g)\n",
                year <= limit ? "kept" : "MISSED", figure.name.c_str(), half, year, limit);
    return year <= limit;
}

} // namespace

int main(int count, char** arguments) {
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    NSApplication::sharedApplication();
    Year year;
    const std::vector<Figure> figures{
        {"memory in use, bytes", [] { return static_cast<double>(mallinfo2().uordblks); }, 1.05,
         true},
        {"descriptors", [] { return static_cast<double>(entriesOf("/proc/self/fd")); }, 1, true},
        {"threads", [] { return static_cast<double>(entriesOf("/proc/self/task")); }, 1, true},
        {"log files, bytes", [&] { return bytesOf(year.logs()); }, mostLogBytes, false},
    };
    std::vector<Chart> charts;
    for (const auto& figure : figures) {
        charts.push_back({figure.name, {{"at the end of each day", {}}}});
    }
    for (unsigned day = 1; day <= daysOfYear; ++day) {
        year.liveDay(day);
        for (std::size_t index = 0; index < figures.size(); ++index) {
            charts[index].lines[0].points.emplace_back(day, figures[index].value());
        }
    }
    bool kept = true;
    for (std::size_t index = 0; index < figures.size(); ++index) {
        kept = isBounded(figures[index], charts[index].lines[0]) && kept;
    }
    if (count == 3 && std::string(arguments[1]) == "--plot") {
        writeCharts(arguments[2], charts);
    }
    return kept ? 0 : 1;
}
