#include "pane/PaneFixture.h"

#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "pane/Tolvin.h"
#include "Shared/QVAuthorization.h"
#include "support/RealTime.h"
#include "System/Machine.h"

#include <filesystem>

void PaneTest::startOnMachine() {
    Machine::install(machine);
    NSDistributedNotificationCenter::defaultCenter().reset();
    QVAuthorization::sharedController().authEnd();
    machine->installClient("1.0");
}

PaneTest::PaneTest() {
    startOnMachine();
    machine->setTool("system_profiler", [](auto&) {
        return ToolResult{.output = xmlDataFromPropertyList(NSArray{NSDictionary{
                              {"_dataType", "SPNetworkDataType"}, {"_items", NSArray()}}})};
    });
}

PaneTest::~PaneTest() {
    pane = nullptr;
    runUntilIdle();
    EXPECT_EQ(NSThread::running(), 0U) << "a thread outlives its pane";
    NSDistributedNotificationCenter::defaultCenter().reset();
    Machine::install(nullptr);
}

void PaneTest::load() {
    loadTime = clock->now();
    pane = makeForMainThread<Tessaline_Network_ClientPref>();
    pane->loadMainView(SOURCE_DIRECTORY "/pane/Resources/Tessaline_Network_ClientPref.ui");
    pane->mainViewDidLoad();
}

void PaneTest::runFor(double seconds) {
    NSRunLoop::mainRunLoop().runUntil([] { return false; },
                                      clock->now() + durationOfSeconds(seconds));
}

void PaneTest::runUntilIdle() {
    NSRunLoop::mainRunLoop().runUntil([] { return NSThread::running() == 0; },
                                      clock->now() + std::chrono::minutes(5));
    threadsEnd(); // the last one may still be on its last instructions
}

void PaneTest::toggle() { masterSwitch().accessibilityPerformPress(); }

void PaneTest::clientSays(const std::string& status) {
    NSDistributedNotificationCenter::defaultCenter().postNotification(
        {.name = Tolvin::statusUpdate, .userInfo = NSDictionary{{"status", status}}});
    runFor(0.001);
}

long PaneTest::told(const std::string& beginning) {
    return std::ranges::count_if(machine->consoleLines(), [&](const std::string& line) {
        return line.starts_with(beginning);
    });
}

void PaneTest::writeSettings(const std::string& file, const NSDictionary& settings) {
    ASSERT_TRUE(writeDictionaryToFile(settings, machine->preferences(file)));
}

NSDictionary PaneTest::settings(const std::string& file) {
    return dictionaryWithContentsOfFile(machine->preferences(file)).value_or(NSDictionary());
}

void PaneTest::writeJobFile(bool isThere) {
    std::filesystem::create_directories(machine->root() + "/Library/LaunchAgents");
    ASSERT_TRUE(writeDictionaryToFile({{"Label", "com.quorvane.Tolvin"}}, machine->jobFile()));
    EXPECT_TRUE(isThere || std::filesystem::remove(machine->jobFile()));
}

std::string PaneTest::timed(const std::string& deed, Clock::Time time) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time - loadTime);
    return deed + "@" + std::to_string(seconds.count());
}

void PaneTest::listen() {
    for (const auto& name :
         {Tolvin::currentStatus, Tolvin::disconnect, Tolvin::relaunch, Tolvin::menuBarIconShow,
          Tolvin::menuBarIconHide, Tolvin::maintenanceEnable, Tolvin::maintenanceDisable}) {
        NSDistributedNotificationCenter::defaultCenter().addObserver(
            listener, name, [this](const NSNotification& notification) {
                heard.push_back(timed(notification.name.substr(2), clock->now()));
            });
    }
}
