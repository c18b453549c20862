// How the cost of everything that can grow grows, over three decades: none faster than linear, or
// than the peer that does the same. Sizes are numbers of what the line names.
#include "Growth.h"

#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSException.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "host/LineReader.h"
#include "Shared/QVAuthorization.h"
#include "Shared/QVLog.h"
#include "Shared/QVTask.h"
#include "Shared/QVTrashNames.h"
#include "support/PrivateBus.h"
#include "support/TemporaryDirectory.h"
#include "System/ProcessList.h"
#include "System/SandboxMachine.h"
#include "tools/AsciiXML.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <malloc.h>
#include <plist/plist.h>
#include <QApplication>
#include <QObject>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/// A sandbox of an ordinary user, on a bus of its own.
class BenchmarkMachine : public SandboxMachine {
public:
    BenchmarkMachine(const std::string& root, std::string bus)
        : SandboxMachine(root), bus(std::move(bus)) {}
    uid_t realUserID() const override {
        return std::max<uid_t>(SandboxMachine::realUserID(), 1000);
    }
    std::string sessionBusAddress() const override { return bus; }

private:
    const std::string bus;
};

std::string root; // of the sandbox

double memoryInUse() {
    const auto info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd);
}

/// Bytes that are in use after the work and were not before.
template <class Work>
double memoryOf(const Work& work) {
    const double before = memoryInUse();
    work();
    return std::max(memoryInUse() - before, 0.0);
}

// Property lists, beside what libplist alone does for the same bytes.

NSDictionary settings(std::size_t keys) {
    NSDictionary dictionary;
    for (std::size_t index = 0; index < keys; ++index) {
        const auto key = "com.quorvane.setting-" + std::to_string(index);
        switch (index % 3) {
        case 0:
            dictionary.setObject(index % 2 == 0, key);
            break;
        case 1:
            dictionary.setObject(static_cast<int>(index), key);
            break;
        default:
            dictionary.setObject("value of " + key, key);
        }
    }
    return dictionary;
}

/// So often that even a small list takes longer than the clock's grain.
constexpr std::size_t timesOf(std::size_t keys) { return 1 + 20'000 / keys; }

template <class Work>
double timeOfEach(std::size_t keys, const Work& work) {
    const auto times = timesOf(keys);
    return timeOf([&] {
               for (std::size_t turn = 0; turn < times; ++turn) {
                   work();
               }
           }) /
           static_cast<double>(times);
}

double readList(std::size_t keys) {
    // Each as it comes from the disk, and needed by nobody else.
    std::vector<std::string> files(timesOf(keys), xmlDataFromPropertyList(settings(keys)));
    auto file = files.begin();
    return timeOfEach(keys, [&] { propertyListFromData(std::move(*file++)); });
}

double readListWithLibplist(std::size_t keys) {
    const auto xml = xmlDataFromPropertyList(settings(keys));
    return timeOfEach(keys, [&] {
        plist_t node = nullptr;
        plist_from_xml(xml.data(), static_cast<std::uint32_t>(xml.size()), &node);
        plist_free(node);
    });
}

double writeList(std::size_t keys) {
    const PropertyList list(settings(keys));
    return timeOfEach(keys, [&] { dataFromPropertyList(list); });
}

/// From values to bytes, as ours.
double writeListWithLibplist(std::size_t keys) {
    const auto dictionary = settings(keys);
    return timeOfEach(keys, [&] {
        const plist_t list = plist_new_dict();
        for (const auto& [key, value] : dictionary) {
            const plist_t node = value.boolean()  ? plist_new_bool(*value.boolean() ? 1 : 0)
                                 : value.string() ? plist_new_string(value.string()->c_str())
                                                  : plist_new_uint(*value.integer());
            plist_dict_set_item(list, key.c_str(), node);
        }
        char* bytes = nullptr;
        std::uint32_t length = 0;
        plist_to_xml(list, &bytes, &length);
        std::free(bytes);
        plist_free(list);
    });
}

std::string bigEndian(std::uint64_t number, int bytes) {
    std::string text;
    while (bytes-- > 0) {
        text += static_cast<char>(number >> (8U * static_cast<unsigned>(bytes)) & 0xFFU);
    }
    return text;
}

/// A binary list of about so many bytes: arrays that have the next one in every place, so that it
/// stands for more values than there is memory.
double refuseSwellingList(std::size_t size) {
    constexpr int levels = 10;
    const auto width = static_cast<std::uint16_t>(size / (levels * 2));
    std::string bytes = "bplist00", offsets;
    for (int level = 0; level < levels; ++level) {
        offsets += bigEndian(bytes.size(), 4);
        bytes += "\xaf\x11" + bigEndian(width, 2);
        for (int place = 0; place < width; ++place) {
            bytes += bigEndian(static_cast<std::uint64_t>(level) + 1, 2);
        }
    }
    offsets += bigEndian(bytes.size(), 4);
    bytes += '\x08'; // the value no
    const auto table = bytes.size();
    bytes += offsets + bigEndian(0, 6) + bigEndian(4, 1) + bigEndian(2, 1) +
             bigEndian(levels + 1, 8) + bigEndian(0, 8) + bigEndian(table, 8);
    return timeOf([&] {
        try {
            propertyListFromData(bytes);
            std::puts("a list that swells was read");
        } catch (const NSException&) {
        }
    });
}

// Observers.

double centreObservers(std::size_t count) {
    auto& centre = NSDistributedNotificationCenter::defaultCenter();
    const auto first = std::make_shared<int>();
    centre.addObserver(first, "Growth", [](const NSNotification&) {}); // the bus knows the name
    std::vector<std::shared_ptr<int>> observers(count);
    const double time = timeOf([&] {
        for (auto& observer : observers) {
            observer = std::make_shared<int>();
            centre.addObserver(observer, "Growth", [](const NSNotification&) {});
        }
        for (const auto& observer : observers) {
            centre.removeObserver(observer.get(), "Growth");
        }
    });
    centre.removeObserver(first.get(), "Growth");
    return time;
}

double qtObservers(std::size_t count) {
    QObject centre;
    std::vector<std::unique_ptr<QObject>> observers(count);
    return timeOf([&] {
        for (auto& observer : observers) {
            observer = std::make_unique<QObject>();
            QObject::connect(&centre, &QObject::objectNameChanged, observer.get(), [] {});
        }
        for (const auto& observer : observers) {
            QObject::disconnect(&centre, nullptr, observer.get(), nullptr);
        }
    });
}

/// Memory that stays for observers that went without a word.
double observersThatWent(std::size_t names) {
    auto& centre = NSDistributedNotificationCenter::defaultCenter();
    auto& loop = NSRunLoop::mainRunLoop();
    return memoryOf([&] {
        for (std::size_t index = 0; index < names; ++index) {
            centre.addObserver(std::make_shared<int>(), "Name " + std::to_string(index),
                               [](const NSNotification&) {});
            loop.runReady(); // which tells the bus
        }
        loop.runUntil([] { return false; },
                      std::chrono::steady_clock::now() + std::chrono::milliseconds(200));
    });
}

double keyValueObservers(std::size_t count) {
    NSObject object;
    std::vector<std::shared_ptr<NSObject>> observers(count);
    for (auto& observer : observers) {
        observer = std::make_shared<NSObject>();
        object.addObserver(observer, "on", 0, nullptr);
    }
    return timeOf([&] {
        for (const auto& observer : observers) {
            object.removeObserver(*observer, "on");
        }
    });
}

/// What any table of so many objects costs, which it does not keep alive.
double tableOfObjects(std::size_t count) {
    std::unordered_map<const NSObject*, std::weak_ptr<NSObject>> table;
    std::vector<std::shared_ptr<NSObject>> objects(count);
    for (auto& object : objects) {
        object = std::make_shared<NSObject>();
        table.emplace(object.get(), object);
    }
    return timeOf([&] {
        for (const auto& object : objects) {
            table.erase(object.get());
        }
    });
}

// Tools.

double runsWithTimeOut(std::size_t count) {
    return timeOf([&] {
        for (std::size_t run = 0; run < count; ++run) {
            QVTask::runTask("/bin/true", {}, 600.0);
        }
    });
}

double toolsThatNobodyWaitsFor(std::size_t count) {
    return timeOf([&] {
        for (std::size_t run = 0; run < count; ++run) {
            QVTask::runTaskAndReturn("/bin/true");
        }
    });
}

double labelsAskedFor(std::size_t count) {
    return timeOf([&] {
        for (std::size_t label = 0; label < count; ++label) {
            QVTask::stringFromTask("/bin/launchctl", {"list", "no-" + std::to_string(label)}, 60.0);
        }
        QVTask::stringFromTask("/bin/launchctl", {"list"}, 60.0);
    });
}

/// Of the processes of this user, while so many more run.
template <class Walk>
double walkProcesses(std::size_t count, const Walk& walk) {
    std::vector<pid_t> sleepers(count);
    for (auto& sleeper : sleepers) {
        sleeper = fork();
        if (sleeper == 0) {
            execl("/bin/sleep", "sleep", "600", nullptr);
            _exit(1);
        }
    }
    usleep(200'000); // until all of them are what they will be
    const double time = timeOf(walk);
    for (const auto sleeper : sleepers) {
        kill(sleeper, SIGKILL);
        waitpid(sleeper, nullptr, 0);
    }
    return time;
}

void bareWalk() {
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::array<char, 4096> target{};
        [[maybe_unused]] const auto length =
            readlink((entry.path() / "exe").c_str(), target.data(), target.size());
    }
}

/// A folder with so many files in it, and an empty one beside it.
std::pair<std::string, std::string> fullAndEmptyFolder(std::size_t files) {
    static int number = 0;
    const auto full = root + "/full-" + std::to_string(++number);
    const auto empty = root + "/empty-" + std::to_string(number);
    fs::create_directory(full);
    fs::create_directory(empty);
    for (std::size_t file = 0; file < files; ++file) {
        std::ofstream(full + "/file-" + std::to_string(file)) << file;
    }
    return {full, empty};
}

double moveWithRights(std::size_t files) {
    const auto [full, empty] = fullAndEmptyFolder(files);
    return timeOf([&, full = full, empty = empty] {
        QVAuthorization::sharedController().authMoveFolderContents(full, empty);
        while (!fs::is_empty(full)) {
            usleep(500);
        }
    });
}

double moveAtOnce(std::size_t files) {
    const auto [full, empty] = fullAndEmptyFolder(files);
    const auto command = "mv " + full + "/* " + empty;
    return timeOf([&] { [[maybe_unused]] const int status = std::system(command.c_str()); });
}

// Names, lines and texts.

double trashNames(std::size_t count) {
    static int number = 0;
    const auto trash = root + "/trash-" + std::to_string(++number);
    const auto file = root + "/file";
    fs::create_directory(trash);
    std::ofstream(trash + "/file") << "taken";
    return timeOf([&] {
        for (std::size_t move = 0; move < count; ++move) {
            std::ofstream(file) << move;
            fs::rename(file, QVTrashNames::shared().take(file, trash));
        }
    });
}

/// Memory that stays for a log line of so many bytes.
double memoryOfLogLine(std::size_t length) {
    QVLog::finishWriting();
    return memoryOf([&] {
        QVLog::appendLog("%@", std::string(length, 'm'));
        QVLog::finishWriting();
    });
}

double logLines(std::size_t count) {
    return timeOf([&] {
        for (std::size_t line = 0; line < count; ++line) {
            QVLog::appendLog("line %d %@", line, std::string(100, 'm'));
        }
        QVLog::finishWriting();
    });
}

double scriptLine(std::size_t length) {
    const auto path = root + "/script";
    std::ofstream(path) << std::string(length, 'x') << "\n";
    LineReader reader(path);
    bool done = false;
    return timeOf([&] {
        reader.readLine([&](const std::optional<std::string>&) { done = true; });
        while (!done) {
            QCoreApplication::processEvents();
        }
    });
}

double report(std::size_t length) {
    const std::string xml(length, 'x');
    return timeOf([&] { asciiXML(xml); });
}

/// A plain loop that copies.
double plainCopy(std::size_t length) {
    const std::string xml(length, 'x');
    return timeOf([&] {
        std::string copy;
        for (const char character : xml) {
            copy += character;
        }
    });
}

const std::vector<Growth>& rows() {
    static const std::vector<Growth> all{
        {"keys of a list that is read", "us", 1000, readList, "libplist", readListWithLibplist,
         1.3},
        {"keys of a list that is written", "us", 1000, writeList, "libplist", writeListWithLibplist,
         1.3},
        {"a small list read", "us", 12, readList, "libplist", readListWithLibplist, 1.3},
        {"a small list written", "us", 12, writeList, "libplist", writeListWithLibplist, 1.3},
        {"bytes of a list that swells", "us", 10'000, refuseSwellingList, "", {}, 0},
        {"observers added and removed", "us", 300, centreObservers, "Qt", qtObservers, 3},
        {"observers that went", "bytes", 100, observersThatWent, "", {}, 0},
        {"key-value observers removed", "us", 300, keyValueObservers, "table", tableOfObjects, 0},
        {"runs with a time-out", "us", 10, runsWithTimeOut, "", {}, 0},
        {"tools that nobody waits for", "us", 20, toolsThatNobodyWaitsFor, "", {}, 0},
        {"labels that launchctl is asked for", "us", 3, labelsAskedFor, "", {}, 0},
        {"processes", "us", 10,
         [](std::size_t count) { return walkProcesses(count, [] { processesOfUser(getuid()); }); },
         "bare walk", [](std::size_t count) { return walkProcesses(count, bareWalk); }, 0},
        {"entries moved with rights", "us", 50, moveWithRights, "one mv", moveAtOnce, 0},
        {"names in the trash", "us", 30, trashNames, "", {}, 0},
        {"log lines", "us", 1000, logLines, "", {}, 0},
        {"bytes of a log line", "bytes", 100'000, memoryOfLogLine, "", {}, 0},
        {"bytes of a script's line", "us", 40'000, scriptLine, "", {}, 0},
        {"bytes of a report", "us", 40'000, report, "plain loop", plainCopy, 0},
    };
    return all;
}

} // namespace

/// The rows whose names have --benchmark_filter's text in them; all without one. With --plot FILE
/// their charts are written.
int main(int count, char** arguments) {
    QApplication application(count, arguments);
    std::string filter, plot;
    for (int index = 1; index < count; ++index) {
        const std::string argument = arguments[index], option = "--benchmark_filter=";
        if (argument.starts_with(option)) {
            filter = argument.substr(option.size());
        } else if (argument == "--plot" && index + 1 < count) {
            plot = arguments[++index];
        }
    }
    const TemporaryDirectory folder;
    root = folder.path();
    const PrivateBus bus;
    Machine::install(std::make_shared<BenchmarkMachine>(root, bus.address()));
    QVLog::createNewLog("growth");
    GrowthTable table;
    bool kept = true;
    for (const auto& growth : rows()) {
        if (growth.work.find(filter) != std::string::npos) {
            kept = table.row(growth) && kept;
        }
    }
    if (!plot.empty()) {
        writeCharts(plot, table.charts());
    }
    NSDistributedNotificationCenter::defaultCenter().reset();
    QVLog::finishWriting();
    return kept ? 0 : 1;
}
