// Notes every program that is started, by its path inside the sandbox, with "sudo" before those
// that run with administrator rights, and waits for it, so that what it did can be looked at.
#pragma once

#include "support/TestMachine.h"

#include <unistd.h>

class RecordingMachine : public TestMachine {
public:
    using TestMachine::TestMachine;

    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override {
        // A privileged tool has nobody's input; the others have this process's own.
        auto line =
            (request.standardInput > STDIN_FILENO ? "sudo " : "") +
            request.launchPath.substr(request.launchPath.starts_with(root()) ? root().size() : 0);
        for (const auto& argument : request.arguments) {
            line += " " + argument;
        }
        {
            const std::lock_guard lock(mutex);
            commands.push_back(line);
        }
        auto process = TestMachine::launch(request);
        if (waits) {
            process->waitUntilExit();
        }
        return process;
    }
    /// Since the last look.
    std::vector<std::string> launches() {
        const std::lock_guard lock(mutex);
        return std::exchange(commands, {});
    }

    std::atomic<bool> waits = true;

private:
    std::mutex mutex;
    std::vector<std::string> commands;
};
