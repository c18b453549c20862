#include "pane/PaneFixture.h"

namespace {

using Texts = std::vector<std::string>;

class StatusTest : public PaneTest {
protected:
    /// A pane two seconds old, with the client's job in place.
    void loadOnJob() {
        writeJobFile();
        load();
        runFor(2);
    }
    /// The client's four checkboxes, then the network's four controls.
    std::string enabledControls() {
        std::string result;
        for (const char* name :
             {"autoUpdateCheck", "preventUpdateDialogsCheck", "showMenuBarIconCheck",
              "enableMaintenanceCheck", "networkInterfacePopUp", "networkCustomPortCheck",
              "networkCustomPortText", "networkDisableBonjour"}) {
            result += control<QWidget>(name).isEnabled() ? '1' : '0';
        }
        return result;
    }
};

TEST_F(StatusTest, TheEnablingRuleFollowsJobFileAndStatus) {
    struct Case {
        bool jobFile;
        const char *status, *line; // what the client says, and what is shown then
        bool up, switchOn;
    };
    loadOnJob();
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
        std::filesystem::remove(machine->jobFile());
        if (each.jobFile) {
            writeJobFile();
        }
        clientSays(each.status);
        EXPECT_EQ(status(), each.line);
        EXPECT_EQ(masterSwitch().isOn(), each.switchOn) << each.status;
        EXPECT_TRUE(masterSwitch().isEnabled());
        EXPECT_EQ(enabledControls(), each.up ? "11111101" : "00001101") << each.status;
    }
    EXPECT_EQ(machine->commands().size(), 1U) << "only the profiler: nothing was started";
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
    runFor(30); // silent from now on, and every tick renews the wait
    EXPECT_EQ(status(), "Status: Connected");
    pane = nullptr;
    runFor(30);
    EXPECT_EQ(heard,
              (Texts{"TolvinCurrentStatus@0", "TolvinCurrentStatus@10", "TolvinCurrentStatus@20",
                     "TolvinCurrentStatus@30", "TolvinCurrentStatus@40"}));
}

TEST_F(StatusTest, OnlyOneReplyIsEverAwaitedAndAnythingFromTheClientEndsTheWait) {
    loadOnJob();
    pane->scheduleTimeOut(5);
    pane->scheduleTimeOut(3);
    runFor(2.5);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName("QVTolvinStatusUpdate");
    runFor(5);
    pane->scheduleTimeOut(1);
    pane->postNotification({.name = "QVTolvinDisconnect"}); // 10 seconds instead
    runFor(1.2);
    EXPECT_EQ(status(), "Status: Checking...");
    pane->scheduleTimeOut(1);
    // A busy main loop: both are due when it comes back, and what came from outside goes first.
    NSThread::detachNewThread([this] {
        NSThread::sleepForTimeInterval(1);
        NSDistributedNotificationCenter::defaultCenter().postNotification(
            {.name = "QVTolvinStatusUpdate", .userInfo = NSDictionary{{"status", "In time"}}});
    });
    NSThread::sleepForTimeInterval(1.5);
    runFor(0.1);
    EXPECT_EQ(status(), "Status: In time");
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
    loadOnJob();
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
    EXPECT_EQ(heard, (Texts{"TolvinMenuBarIconHide@2", "TolvinMenuBarIconShow@2",
                            "TolvinMaintenanceDisable@2", "TolvinMaintenanceEnable@2",
                            "TolvinRelaunch@2"}));
}

} // namespace
