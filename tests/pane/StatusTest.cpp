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
    /// The switch; the client's four checkboxes, then the network's four controls, 1 for usable.
    std::string controls() {
        std::string result = masterSwitch().isOn() ? "on " : "off ";
        for (const auto& setting : Tessaline_Network_ClientPref::settings()) {
            result += control<QWidget>(setting.outlet.c_str()).isEnabled() ? '1' : '0';
        }
        return result;
    }
};

TEST_F(StatusTest, TheEnablingRuleFollowsJobFileAndStatus) {
    loadOnJob();
    EXPECT_EQ(controls(), "on 11111101") << "the first text counts as up";
    // The job file; what the client says; the line and the controls then.
    using Case = std::tuple<bool, const char*, const char*, const char*>;
    for (const auto& [jobFile, said, line, expected] :
         {Case{true, "Connected", "Status: Connected", "on 11111101"},
          Case{true, "Relaunching...", "Status: Relaunching...", "on 00001101"},
          Case{true, "Connected", "Status: Connected", "on 11111101"},
          Case{true, "Disconnected", "Status: Not loaded", "off 00001101"},
          Case{true, "Relaunching...", "Status: Relaunching...", "off 00001101"},
          Case{true, "whatever %@", "Status: whatever %@", "on 11111101"},
          Case{true, "Not loaded", "Status: Not loaded", "on 11111101"}, // shown, nothing else
          Case{true, "disconnected", "Status: disconnected", "on 11111101"},
          Case{false, "Connected", "Status: Not loaded", "off 00001101"},
          Case{true, "Timed out", "Status: Not loaded", "off 00001101"}}) {
        writeJobFile(jobFile);
        clientSays(said);
        EXPECT_EQ(status(), line);
        EXPECT_EQ(controls(), expected) << said;
        EXPECT_TRUE(masterSwitch().isEnabled());
        pane->savePrefs(nullptr); // moves no switch
        EXPECT_EQ(status() + controls().substr(0, 3), line + std::string(expected).substr(0, 3));
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
    EXPECT_EQ(status() + " " + controls(), "Status: Not loaded off 00001101");
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
    runFor(4);
    pane->scheduleTimeOut(1);
    pane->postNotification({.name = "QVTolvinDisconnect"}); // 10 seconds instead
    runFor(1.2);                                            // and no poll meanwhile
    EXPECT_EQ(status() + " " + controls(), "Status: Checking... on 11111101");
}

TEST_F(StatusTest, TheCheckboxesTellTheClientAndMaintenanceNeedsTheIcon) {
    loadOnJob();
    clientSays("Connected");
    listen();
    for (const auto& [name, key] : {std::pair{"showMenuBarIconCheck", "showMenuBarIcon"},
                                    {"showMenuBarIconCheck", "showMenuBarIcon"},
                                    {"enableMaintenanceCheck", "enableMaintenanceRequests"},
                                    {"enableMaintenanceCheck", "enableMaintenanceRequests"},
                                    {"networkDisableBonjour", "disableBonjour"},
                                    {"autoUpdateCheck", "autoUpdateCheck"}}) {
        check(name).click();
        EXPECT_EQ(check("enableMaintenanceCheck").isEnabled(),
                  check("showMenuBarIconCheck").state() == 1);
        const auto saved = settings();
        EXPECT_EQ(*saved.objectForKey(key), check(name).state()) << name;
        runFor(0.1);
    }
    EXPECT_EQ(heard, (Texts{"TolvinMenuBarIconHide@2", "TolvinMenuBarIconShow@2",
                            "TolvinMaintenanceDisable@2", "TolvinMaintenanceEnable@2",
                            "TolvinRelaunch@2"}));
}

} // namespace
