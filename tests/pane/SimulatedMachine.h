// A machine whose tools are no real programs: each command is noted with the moment at which it was
// run, takes as long as the test says by the test's clock, and does what the test says.
#pragma once

#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "support/TestMachine.h"
#include "System/Condition.h"

#include <fstream>
#include <functional>
#include <map>
#include <unistd.h>

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

class SimulatedProcess : public LaunchedProcess {
public:
    SimulatedProcess(Clock& clock, const ToolResult& result)
        : clock(clock), end(clock.now() + durationOfSeconds(result.seconds)),
          status(result.status) {}

    pid_t processIdentifier() const override { return 4711; }
    bool isRunning() override {
        std::lock_guard lock(mutex);
        return clock.now() < end;
    }
    int terminationStatus() override {
        std::lock_guard lock(mutex);
        return status;
    }
    void signal(int number) override {
        std::lock_guard lock(mutex);
        if (clock.now() < end) {
            end = clock.now();
            status = number;
            ended.notifyAll();
            NSRunLoop::mainRunLoop().wakeUp();
        }
    }
    void waitUntilExit() override {
        if (NSRunLoop::mainRunLoop().isCurrentThread()) {
            NSRunLoop::mainRunLoop().runUntil([this] { return !isRunning(); }, end);
            return;
        }
        std::unique_lock lock(mutex);
        const auto isOver = [this] { return clock.now() >= end; };
        ended.wait(lock, isOver, end);
    }

private:
    Clock& clock;
    std::mutex mutex;
    Condition ended;
    Clock::Time end;
    int status;
};

class SimulatedMachine : public TestMachine {
public:
    using Tool = std::function<ToolResult(const std::vector<std::string>& arguments)>;

    /// Every tool that the pane uses is there and succeeds at once.
    SimulatedMachine(const std::string& root, std::shared_ptr<Clock> clock)
        : TestMachine(root, std::move(clock)) {
        for (const char* tool :
             {"/bin/launchctl", "/bin/chmod", "/bin/mv", "/bin/rm", "/usr/bin/killall",
              "/usr/sbin/chown", "/usr/sbin/system_profiler"}) {
            makeTool(tool, "exit 1");
        }
    }

    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override {
        const auto name = lastPathComponent(request.launchPath);
        std::string line = name;
        for (const auto& argument : request.arguments) {
            line += " " + argument;
        }
        Tool tool;
        {
            std::lock_guard lock(mutex);
            noted.push_back({line, clock().now()});
            tool = simulated[name];
        }
        const auto result = tool ? tool(request.arguments) : ToolResult();
        if (request.standardOutput >= 0 && !result.output.empty()) {
            EXPECT_EQ(write(request.standardOutput, result.output.data(), result.output.size()),
                      static_cast<ssize_t>(result.output.size()));
        }
        return std::make_unique<SimulatedProcess>(clock(), result);
    }
    std::vector<RunningProcess> processes() const override {
        std::vector<RunningProcess> all{{1, "/bin/NoTolvin"}, {2, clientExecutable()}};
        all.resize(clientRuns ? 2 : 1);
        return all;
    }
    AuthorizationMode authorizationMode() const override {
        return dialog ? dialog() : TestMachine::authorizationMode();
    }

    void setTool(const std::string& name, Tool tool) {
        std::lock_guard lock(mutex);
        simulated[name] = std::move(tool);
    }
    std::vector<NotedCommand> commands() const {
        std::lock_guard lock(mutex);
        return noted;
    }
    void forgetCommands() {
        std::lock_guard lock(mutex);
        noted.clear();
    }

    /// Puts the client's bundle of that version, or none, into the Applications folder.
    void installClient(const std::optional<std::string>& version) {
        std::filesystem::remove_all(root() + "/Applications/Tolvin.app");
        if (!version) {
            return;
        }
        makeTool("/Applications/Tolvin.app/Contents/MacOS/Tolvin", "exit 1");
        ASSERT_TRUE(writeDictionaryToFile({{"CFBundleIdentifier", "com.quorvane.Tolvin"},
                                           {"CFBundleExecutable", "Tolvin"},
                                           {"CFBundleShortVersionString", *version + " beta"},
                                           {"CFBundleVersion", *version}},
                                          root() + "/Applications/Tolvin.app/Contents/Info.plist"));
    }
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
