#include "Foundation/NSException.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "pane/PaneFixture.h"
#include "pane/Tolvin.h"
#include "Shared/QVAuthorization.h"

#include <filesystem>
#include <fstream>
#include <regex>

namespace {

class LifecycleTest : public PaneTest {
protected:
    using Lines = std::vector<std::string>;

    /// The commands run, but for the profiler's.
    Lines commands() {
        Lines lines;
        const std::regex root(machine->root());
        for (const auto& command : machine->commands()) {
            if (!command.line.starts_with("system_profiler")) {
                lines.push_back(timed(std::regex_replace(command.line, root, ""), command.time));
            }
        }
        return lines;
    }
    const std::string job = "/Library/LaunchAgents/com.quorvane.Tolvin.plist";
};

TEST_F(LifecycleTest, OnInstallsTheJobAndOffTakesAllOfItAwayStepByStep) {
    machine->setTool("launchctl", [this](const auto& arguments) {
        machine->clientRuns = arguments[0] == "load";
        return ToolResult{.seconds = arguments[0] == "remove" ? 0.5 : 0};
    });
    load();
    listen();
    runFor(2);
    bool mayLeave = false;
    pane->setUnselectReply([&](bool) { mayLeave = true; });
    toggle();
    EXPECT_FALSE(masterSwitch().isEnabled());
    pane->enableDisableClient(nullptr); // does nothing then
    EXPECT_EQ(pane->shouldUnselect(), NSUnselectLater);
    runFor(0.0001);
    EXPECT_TRUE(spins());
    clientSays("Disconnected"); // shown, and nothing else while an operation runs
    EXPECT_TRUE(masterSwitch().isOn() && !masterSwitch().isEnabled());
    check("networkDisableBonjour").click(); // which enables the switch
    toggle();                               // passed over
    EXPECT_FALSE(mayLeave);
    runFor(2);
    EXPECT_TRUE(mayLeave);
    EXPECT_EQ(sheets.lines, (Lines{"Status: Not loaded", "Status: Creating job...",
                                   "Status: Disconnected", "Status: Launching client..."}));
    EXPECT_TRUE(masterSwitch().isEnabled() && masterSwitch().isOn());
    EXPECT_EQ(commands(), (Lines{"killall Tolvin@2", "chown root:wheel " + job + "@2",
                                 "chmod 644 " + job + "@2", "launchctl unload " + job + "@3",
                                 "launchctl load " + job + "@3"}));
    const auto executable = machine->clientExecutable();
    EXPECT_EQ(dictionaryWithContentsOfFile(machine->jobFile()),
              (NSDictionary{{"Label", "com.quorvane.Tolvin"},
                            {"Program", executable},
                            {"WorkingDirectory", executable.substr(0, executable.rfind('/'))},
                            {"RunAtLoad", true},
                            {"KeepAlive", NSDictionary{{"SuccessfulExit", false}}}}));
    clientSays("Connected");
    runFor(36);
    EXPECT_EQ(commands().size(), 5U) << "the client runs: it is not started a second time";

    sheets.lines.clear();
    heard.clear();
    machine->forgetCommands();
    QVAuthorization::sharedController().authEnd();
    toggle();
    runFor(1);
    EXPECT_TRUE(spins() && QVAuthorization::sharedController().isAuthorized());
    EXPECT_FALSE(check("autoUpdateCheck").isEnabled());
    runFor(2.2);
    EXPECT_EQ(sheets.lines, (Lines{"Status: Disconnecting...", "Status: Unloading job...",
                                   "Status: Not loaded"}));
    EXPECT_FALSE(masterSwitch().isOn());
    EXPECT_FALSE(std::filesystem::exists(machine->jobFile()));
    EXPECT_EQ(commands(), (Lines{"launchctl unload " + job + "@42",
                                 "launchctl remove com.quorvane.Tolvin@42", "killall Tolvin@42"}));
    EXPECT_EQ(heard.front(), "TolvinDisconnect@40");
}

TEST_F(LifecycleTest, AClientThatLaunchdDoesNotStartIsStartedDirectly) {
    const std::string list = "launchctl list com.quorvane.Tolvin@21", direct = "Tolvin@21";
    for (const auto& [listed, last] : {std::pair{"Not loaded", direct},
                                       {"PID = -\nLastExitStatus = 0\n", direct},
                                       {"PID = -\nLastExitStatus = 1\n", list},
                                       {"PID = 7\nLastExitStatus = 0\n", list}}) {
        machine->setTool("launchctl",
                         [text = listed](auto&) { return ToolResult{.output = text}; });
        load();
        runFor(2);
        toggle();
        runFor(8.5); // of the 15 seconds that it is given
        EXPECT_EQ(status(), "Status: Launching client...");
        clientSays("Relaunching...");
        runFor(12);
        EXPECT_EQ(commands().back(), last);
        EXPECT_EQ(status(), "Status: Not loaded") << "the enabling rule has run";
        pane = nullptr;
        writeJobFile(false);
    }
    load();
    runFor(2);
    for (int turn = 0; turn < 3; ++turn) { // on, off, on: the first start leaves no trace
        toggle();
        runFor(4);
    }
    machine->forgetCommands();
    runFor(30);
    EXPECT_EQ(commands(), Lines{"launchctl list com.quorvane.Tolvin@29"});
}

TEST_F(LifecycleTest, RefusedRightsChangeNothingOnTheWayOnAndLeaveOnlyTheFileOnTheWayOff) {
    load();
    runFor(2);
    machine->authorization = AuthorizationMode::deny;
    toggle();
    runFor(1);
    EXPECT_TRUE(commands().empty());
    EXPECT_TRUE(masterSwitch().isEnabled() && !masterSwitch().isOn());
    EXPECT_EQ(status(), "Status: Not loaded");

    machine->setTool("killall", [this](auto&) {
        writeJobFile(); // it stays
        return ToolResult();
    });
    writeJobFile();
    clientSays("Connected");
    toggle();
    runFor(5);
    EXPECT_EQ(commands(), (Lines{"launchctl unload " + job + "@5",
                                 "launchctl remove com.quorvane.Tolvin@5", "killall Tolvin@5"}));
    EXPECT_FALSE(masterSwitch().isOn());
    EXPECT_EQ(status(), "Status: Not loaded");
}

TEST_F(LifecycleTest, WhatTheUserMustActOnIsToldInASheet) {
    const auto agents = machine->root() + "/Library/LaunchAgents";
    const std::string notLoaded = "Status: Not loaded";
    const auto expectSheet = [&](const std::string& message, const std::string& information,
                                 const Lines& said) {
        sheets.texts.clear();
        sheets.lines.clear();
        machine->clearConsole();
        toggle();
        runFor(5);
        EXPECT_EQ(sheets.texts, Lines{message + " / " + information});
        EXPECT_EQ(told(message), 1);
        EXPECT_EQ(sheets.lines, said);
        EXPECT_TRUE(masterSwitch().isEnabled() && !masterSwitch().isOn());
    };
    load();
    runFor(2);
    std::ofstream{agents} << "in the way";
    machine->tools["/bin/mv"] = ""; // not even with rights
    expectSheet("Error: Unable to create LaunchAgent",
                "Please check you have correct permissions for the directory " + agents + ".",
                {"Status: Creating job...", "Status: Error: unable to create job", notLoaded});
    EXPECT_TRUE(commands().empty());

    machine->installClient(std::nullopt);
    expectSheet("Error - unable to determine application path",
                "Please report this error to Quorvane.", {notLoaded});
}

TEST_F(LifecycleTest, AClientOfAnotherVersionIsRelaunchedOnlyWhereItsJobIs) {
    struct Case {
        NSDictionary settings;
        bool jobFile, relaunched;
        std::optional<std::string> client = "1.0", lastAfterwards = "1.0";
    };
    listen();
    for (const Case& each : std::vector<Case>{
             {{{"lastRunVersion", "1.0"}}, true, false},
             {{{"lastRunVersion", "0.9"}}, true, true},
             {{{"lastRunVersion", "0.9"}}, false, false},
             {{{"kept", 1}}, true, false},
             {{{"lastRunVersion", 9}}, true, false}, // no text: as if it were missing
             {{{"lastRunVersion", "0.9"}}, true, true, {}, "0.9"},
         }) {
        writeSettings("com.quorvane.Tolvin.plist", each.settings);
        writeJobFile(each.jobFile);
        machine->installClient(each.client);
        machine->forgetCommands();
        machine->clearConsole();
        heard.clear();
        load();
        toggle(); // ignored: still loading
        runFor(1.5);
        check("networkDisableBonjour").click(); // in the middle of a relaunch
        runFor(3.5);
        const Lines usual = {"TolvinCurrentStatus@0", "TolvinRelaunch@1"};
        const Lines first = {usual[0], "TolvinDisconnect@1", usual[1]};
        const Lines then = {"launchctl unload " + job + "@2", "launchctl load " + job + "@2"};
        EXPECT_EQ(heard, each.relaunched ? first : usual);
        EXPECT_EQ(commands(), each.relaunched ? then : Lines());
        EXPECT_EQ(masterSwitch().isOn(), each.jobFile) << "as before the toggle";
        const auto stored = settings();
        EXPECT_EQ(stored.stringForKey("lastRunVersion"), each.lastAfterwards);
        EXPECT_EQ(*stored.objectForKey("disableBonjour"), PropertyList(1));
        EXPECT_EQ(stored.objectForKey("kept") != nullptr,
                  each.settings.objectForKey("kept") != nullptr);
        EXPECT_EQ(told("Exception in -[Tessaline_Network_ClientPref reloadClientIfNew]."),
                  each.client ? 0 : 1);
        pane = nullptr;
        runUntilIdle();
    }
    std::filesystem::remove(machine->preferences("com.quorvane.Tolvin.plist"));
    load();
    runFor(2);
    EXPECT_FALSE(std::filesystem::exists(machine->preferences("com.quorvane.Tolvin.plist")));
}

TEST_F(LifecycleTest, ARunningClientShowsAtOnceAndOnlyAWholeNameCounts) {
    writeJobFile();
    EXPECT_TRUE((load(), status() == "Status: Checking..."));
    EXPECT_EQ(text("versionLabel").stringValue(), "v1.0 beta");
    pane->mainView()->grab({0, 0, 1, 1}); // lays it out; more would be drawn on threads of Qt's own
    EXPECT_EQ(masterSwitch().size(), QSize(88, 28));
    for (const auto& [name, caption] :
         {std::pair{"masterOffLabel", "Off"}, {"masterOnLabel", "On"}}) {
        EXPECT_EQ(text(name).stringValue(), caption);
        const auto engraved = control<QWidget>(name).grab().toImage();
        text(name).setBackgroundStyle(NSBackgroundStyleNormal);
        EXPECT_NE(control<QWidget>(name).grab().toImage(), engraved) << name;
    }
    EXPECT_FALSE(pane->isProcessRunning("Tolvin"));
    EXPECT_TRUE(pane->isProcessRunning("NoTolvin"));
    machine->clientRuns = true;
    EXPECT_TRUE(pane->isProcessRunning("Tolvin"));
    EXPECT_FALSE(pane->isProcessRunning("MacOS"));
    machine->installClient(std::nullopt);
    load();
    EXPECT_EQ(status(), "Status: Connected");
    EXPECT_EQ(text("versionLabel").stringValue(), "Tolvin");
}

TEST_F(LifecycleTest, AnExceptionLeavesTheFinalStepsToRun) {
    load();
    runFor(2);
    for (const char* tool : {"launchctl", "killall"}) {
        machine->setTool(tool, [](auto&) -> ToolResult { throw NSException("Name", "reason %@"); });
    }
    for (const std::string method : {"setupClient", "stopClient"}) {
        toggle();
        runFor(30);
        EXPECT_EQ(
            told("Exception in -[Tessaline_Network_ClientPref " + method + "]. Name - reason %@."),
            1);
        EXPECT_TRUE(masterSwitch().isEnabled() && !spins());
        writeJobFile();
        clientSays("Connected");
    }
}

} // namespace
