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
    /// The commands run since the pane was loaded, each with its second.
    std::vector<std::string> commands() {
        std::vector<std::string> lines;
        const auto all = machine->commands(); // the first is the profiler's, at load
        for (const auto& command : all) {
            if (!command.line.starts_with("system_profiler")) {
                const auto second = static_cast<int>(command.time - all.front().time);
                lines.push_back(std::regex_replace(command.line, std::regex(machine->root()), "") +
                                "@" + std::to_string(second));
            }
        }
        return lines;
    }
    bool told(const std::string& beginning) {
        return std::ranges::any_of(machine->consoleLines(), [&](const std::string& line) {
            return line.starts_with(beginning);
        });
    }
    using Lines = std::vector<std::string>;
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
    EXPECT_EQ(status(), "Status: Not loaded");
    bool mayLeave = false;
    pane->setUnselectReply([&](bool) { mayLeave = true; });
    toggle();
    EXPECT_FALSE(masterSwitch().isEnabled());
    pane->enableDisableClient(nullptr); // does nothing then
    EXPECT_EQ(pane->shouldUnselect(), NSUnselectLater);
    runFor(0.0001);
    EXPECT_EQ(status(), "Status: Creating job...");
    EXPECT_TRUE(spins());
    clientSays("Disconnected"); // shown, and nothing else while an operation runs
    EXPECT_EQ(status(), "Status: Disconnected");
    EXPECT_TRUE(masterSwitch().isOn() && !masterSwitch().isEnabled());
    check("networkDisableBonjour").click(); // which enables the switch
    toggle();                               // passed over
    EXPECT_FALSE(mayLeave);
    runFor(2);
    EXPECT_TRUE(mayLeave);
    EXPECT_EQ(status(), "Status: Launching client...");
    EXPECT_TRUE(masterSwitch().isEnabled());
    EXPECT_TRUE(masterSwitch().isOn());
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

    heard.clear();
    QVAuthorization::sharedController().authEnd();
    toggle();
    runFor(1);
    EXPECT_TRUE(spins() && QVAuthorization::sharedController().isAuthorized());
    EXPECT_EQ(status(), "Status: Disconnecting...");
    EXPECT_FALSE(check("autoUpdateCheck").isEnabled());
    runFor(1.2);
    EXPECT_EQ(status(), "Status: Unloading job...");
    runFor(1);
    EXPECT_EQ(status(), "Status: Not loaded");
    EXPECT_FALSE(masterSwitch().isOn());
    EXPECT_FALSE(std::filesystem::exists(machine->jobFile()));
    const auto all = commands();
    EXPECT_EQ(Lines(all.begin() + 5, all.end()),
              (Lines{"launchctl unload " + job + "@42", "launchctl remove com.quorvane.Tolvin@42",
                     "killall Tolvin@42"}));
    EXPECT_EQ(heard.front(), "TolvinDisconnect@40");
}

TEST_F(LifecycleTest, AClientThatLaunchdDoesNotStartIsStartedDirectly) {
    load();
    runFor(2);
    toggle();
    runFor(1.5);
    ASSERT_EQ(status(), "Status: Launching client...");
    runFor(7); // of the 15 seconds that it is given
    EXPECT_EQ(status(), "Status: Launching client...");
    runFor(23);
    EXPECT_EQ(commands().back(), "Tolvin@21");
}

TEST_F(LifecycleTest, RefusedRightsChangeNothingOnTheWayOnAndLeaveOnlyTheFileOnTheWayOff) {
    load();
    runFor(2);
    machine->authorization = AuthorizationMode::deny;
    toggle();
    runFor(1);
    EXPECT_TRUE(commands().empty());
    EXPECT_FALSE(masterSwitch().isOn());
    EXPECT_TRUE(masterSwitch().isEnabled());
    EXPECT_EQ(status(), "Status: Not loaded");

    writeJobFile();
    clientSays("Connected");
    toggle();
    runFor(5);
    EXPECT_EQ(commands(), (Lines{"launchctl unload " + job + "@5",
                                 "launchctl remove com.quorvane.Tolvin@5", "killall Tolvin@5"}));
}

TEST_F(LifecycleTest, WhatTheUserMustActOnIsToldInASheet) {
    const auto agents = machine->root() + "/Library/LaunchAgents";
    const auto expectSheet = [&](const std::string& message, const std::string& information) {
        sheets.texts.clear();
        machine->clearConsole();
        toggle();
        runFor(5);
        EXPECT_EQ(sheets.texts, Lines{message + " / " + information});
        EXPECT_TRUE(told(message));
        EXPECT_EQ(status(), "Status: Not loaded");
        EXPECT_TRUE(masterSwitch().isEnabled());
        EXPECT_FALSE(masterSwitch().isOn());
    };
    load();
    runFor(2);
    std::ofstream{agents} << "in the way";
    machine->tools["/bin/mv"] = ""; // not even with rights
    expectSheet("Error: Unable to create LaunchAgent",
                "Please check you have correct permissions for the directory " + agents + ".");
    EXPECT_TRUE(commands().empty());

    std::filesystem::remove_all(machine->root() + "/Applications/Tolvin.app");
    expectSheet("Error - unable to determine application path",
                "Please report this error to Quorvane.");
}

TEST_F(LifecycleTest, AClientOfAnotherVersionIsRelaunchedOnlyWhereItsJobIs) {
    struct Case {
        NSDictionary settings;
        bool jobFile, client, relaunched;
        PropertyList lastAfterwards;
    };
    listen();
    for (const Case& each : std::vector<Case>{
             {{{"lastRunVersion", "1.0"}}, true, true, false, "1.0"},
             {{{"lastRunVersion", "0.9"}}, true, true, true, "1.0"},
             {{{"lastRunVersion", "0.9"}}, false, true, false, "1.0"},
             {{{"kept", 1}}, true, true, false, "1.0"},
             {{{"lastRunVersion", 9}}, true, true, false, "1.0"}, // no text: as if it were missing
             {{{"lastRunVersion", "0.9"}}, true, false, true, "0.9"},
         }) {
        writeSettings("com.quorvane.Tolvin.plist", each.settings);
        std::filesystem::remove(machine->jobFile());
        std::filesystem::remove_all(machine->root() + "/Applications/Tolvin.app");
        if (each.jobFile) {
            writeJobFile();
        }
        if (each.client) {
            machine->installClient("1.0");
        }
        const auto commandsBefore = commands().size();
        const auto second = [start = clock->seconds()](int passed) {
            return "@" + std::to_string(static_cast<int>(start) + passed);
        };
        machine->clearConsole();
        load();
        heard.clear();
        toggle(); // ignored: still loading
        runFor(1.5);
        check("networkDisableBonjour").click(); // in the middle of a relaunch
        runFor(3.5);
        std::erase_if(heard, [](const auto& name) { return !name.starts_with("TolvinDisc"); });
        auto all = commands();
        all.erase(all.begin(), all.begin() + static_cast<long>(commandsBefore));
        if (each.relaunched) {
            EXPECT_EQ(heard, Lines{"TolvinDisconnect" + second(1)});
            EXPECT_EQ(all, (Lines{"launchctl unload " + job + second(2),
                                  "launchctl load " + job + second(2)}));
        } else {
            EXPECT_EQ(heard.size() + all.size(), 0U);
        }
        const auto stored = settings();
        EXPECT_EQ(*stored.objectForKey("lastRunVersion"), each.lastAfterwards);
        EXPECT_EQ(*stored.objectForKey("disableBonjour"), PropertyList(1));
        EXPECT_EQ(stored.objectForKey("kept") != nullptr,
                  each.settings.objectForKey("kept") != nullptr);
        EXPECT_EQ(told("Exception in -[Tessaline_Network_ClientPref reloadClientIfNew]."),
                  !each.client);
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
    EXPECT_FALSE(pane->isProcessRunning("Tolvin"));
    EXPECT_TRUE(pane->isProcessRunning("NoTolvin"));
    machine->clientRuns = true;
    EXPECT_TRUE(pane->isProcessRunning("Tolvin"));
    EXPECT_FALSE(pane->isProcessRunning("MacOS"));
    std::filesystem::remove_all(machine->root() + "/Applications/Tolvin.app");
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
    for (const char* method : {"setupClient", "stopClient"}) {
        if (method == std::string("stopClient")) {
            writeJobFile();
            clientSays("Connected");
        }
        machine->clearConsole();
        toggle();
        runFor(30);
        EXPECT_TRUE(told("Exception in -[Tessaline_Network_ClientPref " + std::string(method) +
                         "]. Name - reason %@."));
        EXPECT_TRUE(masterSwitch().isEnabled());
        EXPECT_FALSE(spins());
    }
}

} // namespace
