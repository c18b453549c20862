// A machine whose tools are no real programs: each command is noted with the moment at which it was
// run, takes as long as the test says by the test's clock, and does what the test says.
#pragma once

#include "support/TestMachine.h"

#include <functional>
#include <map>

/// What a simulated tool did.
struct ToolResult {
    double seconds = 0; // how long it runs, by the test's clock
    int status = 0;
    std::string output;
};

struct NotedCommand {
    std::string line; // the tool's name and its arguments
    Clock::Time time;
};

class SimulatedMachine : public TestMachine {
public:
    using Tool = std::function<ToolResult(const std::vector<std::string>& arguments)>;

    /// Every tool that the pane uses is there and succeeds at once.
    SimulatedMachine(const std::string& root, std::shared_ptr<Clock> clock);

    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override;
    std::vector<RunningProcess> processes() const override;
    AuthorizationMode authorizationMode() const override {
        return dialog ? dialog() : TestMachine::authorizationMode();
    }

    void setTool(const std::string& name, Tool tool);
    std::vector<NotedCommand> commands() const;
    void forgetCommands();

    /// Puts the client's bundle of that version, or none, into the Applications folder.
    void installClient(const std::optional<std::string>& version);
    std::string clientExecutable() const {
        return root() + "/Applications/Tolvin.app/Contents/MacOS/Tolvin";
    }
    std::string jobFile() const {
        return root() + "/Library/LaunchAgents/com.quorvane.Tolvin.plist";
    }
    std::string preferences(const std::string& file) const {
        return homeDirectory() + "/Library/Preferences/" + file;
    }

    std::atomic<bool> clientRuns{false};
    /// A user who is asked for administrator rights, and may think about it.
    std::function<AuthorizationMode()> dialog;

private:
    mutable std::mutex mutex;
    std::map<std::string, Tool> simulated;
    std::vector<NotedCommand> noted;
};
