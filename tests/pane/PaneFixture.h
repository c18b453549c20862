// A real pane, with its real view, on a simulated machine and a virtual clock.
#pragma once

#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSProgressIndicator.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSThread.h"
#include "pane/QVSwitch.h"
#include "pane/SheetUser.h"
#include "pane/SimulatedMachine.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"
#include "Shared/QVAuthorization.h"
#include "support/RealTime.h"
#include "System/Machine.h"

#include <QApplication>

class PaneTest : public testing::Test {
protected:
    PaneTest() {
        startOnMachine();
        machine->setTool("system_profiler", [](auto&) {
            return ToolResult{.output = xmlDataFromPropertyList(NSArray{NSDictionary{
                                  {"_dataType", "SPNetworkDataType"}, {"_items", NSArray()}}})};
        });
    }
    ~PaneTest() override {
        pane = nullptr;
        runUntilIdle();
        EXPECT_EQ(NSThread::running(), 0U) << "a thread outlives its pane";
        NSDistributedNotificationCenter::defaultCenter().reset();
        Machine::install(nullptr);
    }

    /// Installs the machine, with nothing but a client on it.
    void startOnMachine() {
        Machine::install(machine);
        NSDistributedNotificationCenter::defaultCenter().reset();
        QVAuthorization::sharedController().authEnd();
        machine->installClient("1.0");
    }
    /// Makes a pane, connects its view and runs its load sequence.
    void load() {
        loadTime = clock->now();
        pane = makeForMainThread<Tessaline_Network_ClientPref>();
        pane->loadMainView(SOURCE_DIRECTORY "/pane/Resources/Tessaline_Network_ClientPref.ui");
        pane->mainViewDidLoad();
    }
    /// Lets virtual time pass; the main loop runs meanwhile.
    void runFor(double seconds) {
        const auto end = clock->now() + durationOfSeconds(seconds);
        NSRunLoop::mainRunLoop().runUntil([] { return false; }, end);
    }
    void runUntilIdle() {
        const auto end = clock->now() + std::chrono::minutes(5);
        NSRunLoop::mainRunLoop().runUntil([] { return NSThread::running() == 0; }, end);
        threadsEnd(); // the last one may still be on its last instructions
    }

    template <class Control>
    Control& control(const char* name) {
        auto* found = dynamic_cast<Control*>(pane->mainView()->findChild<QWidget*>(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no control ") + name);
        }
        return *found;
    }
    NSButton& check(const char* name) { return control<NSButton>(name); }
    NSTextField& text(const char* name) { return control<NSTextField>(name); }
    QVSwitch& masterSwitch() { return control<QVSwitch>("masterSwitch"); }
    bool spins() {
        return control<NSProgressIndicator>("statusSpinner").valueForKey("value") == true;
    }
    std::string status() { return text("statusLabel").stringValue(); }
    /// A click on the knob, as the view hands it on.
    void toggle() { masterSwitch().accessibilityPerformPress(); }
    /// What the client would post.
    void clientSays(const std::string& status) {
        NSDistributedNotificationCenter::defaultCenter().postNotification(
            {.name = Tolvin::statusUpdate, .userInfo = NSDictionary{{"status", status}}});
        runFor(0.001);
    }
    void writeSettings(const std::string& file, const NSDictionary& settings) {
        ASSERT_TRUE(writeDictionaryToFile(settings, machine->preferences(file)));
    }
    NSDictionary settings(const std::string& file = "com.quorvane.Tolvin.plist") {
        return dictionaryWithContentsOfFile(machine->preferences(file)).value_or(NSDictionary());
    }
    /// The number of the console's lines that begin so.
    long told(const std::string& beginning) {
        return std::ranges::count_if(machine->consoleLines(), [&](const std::string& line) {
            return line.starts_with(beginning);
        });
    }
    /// Puts a job file, or none, where the client's is.
    void writeJobFile(bool isThere = true) {
        std::filesystem::create_directories(machine->root() + "/Library/LaunchAgents");
        ASSERT_TRUE(writeDictionaryToFile({{"Label", "com.quorvane.Tolvin"}}, machine->jobFile()));
        EXPECT_TRUE(isThere || std::filesystem::remove(machine->jobFile()));
    }
    /// What was done, and after how many seconds of the last pane's life.
    std::string timed(const std::string& deed, Clock::Time time) const {
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time - loadTime);
        return deed + "@" + std::to_string(seconds.count());
    }
    /// Notes every notification of the pane's from now on, with its time.
    void listen() {
        for (const auto& name :
             {Tolvin::currentStatus, Tolvin::disconnect, Tolvin::relaunch, Tolvin::menuBarIconShow,
              Tolvin::menuBarIconHide, Tolvin::maintenanceEnable, Tolvin::maintenanceDisable}) {
            NSDistributedNotificationCenter::defaultCenter().addObserver(
                listener, name, [this](const NSNotification& notification) {
                    heard.push_back(timed(notification.name.substr(2), clock->now()));
                });
        }
    }

    NSApplication& application = NSApplication::sharedApplication(); // before any event filter
    SheetUser sheets;
    TemporaryDirectory directory;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::shared_ptr<SimulatedMachine> machine =
        std::make_shared<SimulatedMachine>(directory.path(), clock);
    std::shared_ptr<Tessaline_Network_ClientPref> pane;
    Clock::Time loadTime;
    std::shared_ptr<int> listener = std::make_shared<int>();
    std::vector<std::string> heard;
};
