#include "pane/PaneFixture.h"

namespace {

class StatusTest : public PaneTest {};

TEST_F(StatusTest, TheEnablingRuleFollowsJobFileAndStatus) {
    struct Case {
        bool jobFile;
        const char* status;
        const char* line; // afterwards
        bool up, switchOn;
    };
    writeJobFile();
    load();
    runFor(2);
    ASSERT_TRUE(masterSwitch().isOn()) << "the first text counts as up";
    for (const Case& each : std::vector<Case>{
             {true, "Connected", "Status: Connected", true, true},
             {true, "Relaunching...", "Status: Relaunching...", false, true},
             {true, "Connected", "Status: Connected", true, true},
             {true, "Disconnected", "Status: Not loaded", false, false},
             {true, "Relaunching...", "Status: Relaunching...", false, false},
             {true, "whatever %@", "Status: whatever %@", true, true},
             {true, "Not loaded", "Status: Not loaded", true, true}, // shown, and nothing else
             {true, "disconnected", "Status: disconnected", true, true},
             {false, "Connected", "Status: Not loaded", false, false},
             {true, "Timed out", "Status: Not loaded", false, false},
         }) {
        if (each.jobFile) {
            writeJobFile();
        } else {
            std::filesystem::remove(machine->jobFile());
        }
        clientSays(each.status);
        EXPECT_EQ(status(), each.line);
        EXPECT_EQ(masterSwitch().isOn(), each.switchOn) << each.status;
        EXPECT_TRUE(masterSwitch().isEnabled());
        for (const char* name : {"autoUpdateCheck", "preventUpdateDialogsCheck",
                                 "showMenuBarIconCheck", "enableMaintenanceCheck"}) {
            EXPECT_EQ(check(name).isEnabled(), each.up) << name << " at " << each.status;
        }
        EXPECT_FALSE(text("networkCustomPortText").isEnabled());
        for (const char* name : {"networkCustomPortCheck", "networkDisableBonjour"}) {
            EXPECT_TRUE(check(name).isEnabled());
        }
    }
    EXPECT_EQ(machine->commandLines().size(), 1U) << "only the profiler: nothing was started";
}

TEST_F(StatusTest, TheTimeOutArmedAtLoadComesBeforeTheFirstTickAndNoneComesAfter) {
    writeJobFile();
    listen();
    load();
    runFor(9.9);
    EXPECT_EQ(status(), "Status: Checking...");
    runFor(0.2);
    EXPECT_EQ(status(), "Status: Not loaded");
    EXPECT_FALSE(masterSwitch().isOn());
    clientSays("Connected");
    runFor(60); // silent from now on, and every tick renews the wait
    EXPECT_EQ(status(), "Status: Connected");
    EXPECT_EQ(heard,
              (std::vector<std::string>{"TolvinCurrentStatus@0", "TolvinCurrentStatus@10",
                                        "TolvinCurrentStatus@20", "TolvinCurrentStatus@30",
                                        "TolvinCurrentStatus@40", "TolvinCurrentStatus@50",
                                        "TolvinCurrentStatus@60", "TolvinCurrentStatus@70"}));
}

TEST_F(StatusTest, OnlyOneReplyIsEverAwaitedAndAnythingFromTheClientEndsTheWait) {
    writeJobFile();
    load();
    runFor(1);
    clientSays("Connected");
    pane->scheduleTimeOut(5);
    pane->scheduleTimeOut(3);
    runFor(2.5);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName("QVTolvinStatusUpdate");
    runFor(5);
    EXPECT_EQ(status(), "Status: Connected");
    pane->scheduleTimeOut(1);
    pane->postNotification({.name = "QVTolvinDisconnect"}); // 10 seconds instead
    runFor(1.2);
    EXPECT_EQ(status(), "Status: Connected");
}

TEST_F(StatusTest, AStatusAtTheVeryMomentOfTheTimeOutIsInTime) {
    writeJobFile();
    load();
    NSThread::detachNewThread([this] {
        NSThread::sleepForTimeInterval(10);
        performOnMainThread(
            [this] {
                pane->updateStatus({.userInfo = NSDictionary{{"status", "Connected"}}});
            },
            false);
    });
    runFor(9.5);
    // A busy main loop: both are due when it comes back, and what came from outside goes first.
    NSThread::sleepForTimeInterval(0.6);
    runFor(0.1);
    EXPECT_EQ(status(), "Status: Connected");
    EXPECT_TRUE(masterSwitch().isOn());
}

TEST_F(StatusTest, WhileAnOperationRunsStatusesAreShownAndChangeNothingElse) {
    load();
    runFor(2);
    machine->setTool("launchctl", [](auto&) { return ToolResult{.seconds = 4}; });
    toggle();
    runFor(3);
    clientSays("Disconnected");
    EXPECT_EQ(status(), "Status: Disconnected");
    EXPECT_FALSE(masterSwitch().isEnabled());
    EXPECT_TRUE(masterSwitch().isOn());
}

TEST_F(StatusTest, TheCheckboxesTellTheClientAndMaintenanceNeedsTheIcon) {
    writeJobFile();
    load();
    runFor(2);
    clientSays("Connected");
    listen();
    for (const char* name :
         {"showMenuBarIconCheck", "showMenuBarIconCheck", "enableMaintenanceCheck",
          "enableMaintenanceCheck", "networkDisableBonjour", "autoUpdateCheck"}) {
        check(name).click();
        EXPECT_EQ(check("enableMaintenanceCheck").isEnabled(),
                  check("showMenuBarIconCheck").state() == 1);
        runFor(0.1);
    }
    EXPECT_EQ(heard, (std::vector<std::string>{"TolvinMenuBarIconHide@2", "TolvinMenuBarIconShow@2",
                                               "TolvinMaintenanceDisable@2",
                                               "TolvinMaintenanceEnable@2", "TolvinRelaunch@2"}));
}

TEST_F(StatusTest, APaneThatIsLetGoIsGoneWithItsTimersAndObservers) {
    load();
    runFor(2);
    const std::weak_ptr<Tessaline_Network_ClientPref> weak = pane;
    listen();
    pane = nullptr;
    EXPECT_TRUE(weak.expired());
    runFor(30);
    EXPECT_TRUE(heard.empty());
}

} // namespace
