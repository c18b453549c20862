#include "pane/SimulatedMachine.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSString.h"
#include "System/Condition.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

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
        ended.wait(
            lock, [this] { return clock.now() >= end; }, end);
    }

private:
    Clock& clock;
    std::mutex mutex;
    Condition ended;
    Clock::Time end;
    int status;
};

void writeExecutable(const std::string& path) {
    std::filesystem::create_directories(stringByDeletingLastPathComponent(path));
    std::ofstream(path) << "#!/bin/false\n";
    std::filesystem::permissions(path, std::filesystem::perms(0755));
}

} // namespace

SimulatedMachine::SimulatedMachine(const std::string& root, std::shared_ptr<Clock> clock)
    : TestMachine(root, std::move(clock)) {
    for (const char* tool : {"/bin/launchctl", "/bin/chmod", "/bin/mv", "/bin/rm",
                             "/usr/bin/killall", "/usr/sbin/chown", "/usr/sbin/system_profiler"}) {
        writeExecutable(this->root() + tool);
    }
}

std::unique_ptr<LaunchedProcess> SimulatedMachine::launch(const LaunchRequest& request) {
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

std::vector<RunningProcess> SimulatedMachine::processes() const {
    return clientRuns ? std::vector<RunningProcess>{{1, "/bin/NoTolvin"}, {2, clientExecutable()}}
                      : std::vector<RunningProcess>{{1, "/bin/NoTolvin"}};
}

void SimulatedMachine::setTool(const std::string& name, Tool tool) {
    std::lock_guard lock(mutex);
    simulated[name] = std::move(tool);
}

std::vector<NotedCommand> SimulatedMachine::commands() const {
    std::lock_guard lock(mutex);
    return noted;
}

void SimulatedMachine::forgetCommands() {
    std::lock_guard lock(mutex);
    noted.clear();
}

void SimulatedMachine::installClient(const std::optional<std::string>& version) {
    std::filesystem::remove_all(root() + "/Applications/Tolvin.app");
    if (!version) {
        return;
    }
    writeExecutable(clientExecutable());
    ASSERT_TRUE(writeDictionaryToFile({{"CFBundleIdentifier", "com.quorvane.Tolvin"},
                                       {"CFBundleExecutable", "Tolvin"},
                                       {"CFBundleShortVersionString", *version + " beta"},
                                       {"CFBundleVersion", *version}},
                                      root() + "/Applications/Tolvin.app/Contents/Info.plist"));
}
