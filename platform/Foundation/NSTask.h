// One run of an external program. Set up, launched once, then waited for or ended.
#pragma once

#include "Foundation/NSPipe.h"
#include "System/LaunchedProcess.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

class ProgramOutput;

/// The set-up belongs to one thread; from the launch on every operation may be called from any.
class NSTask {
public:
    /// Nothing means this process's own stream.
    using Stream =
        std::variant<std::monostate, std::shared_ptr<NSPipe>, std::shared_ptr<NSFileHandle>>;
    struct Output {
        NSData output, error;
        /// It was more than maximumOutput, and the tool was ended for it.
        bool exceeded = false;
    };
    /// Of each of the two, in bytes.
    static constexpr std::size_t maximumOutput = 64U << 20U;

    NSTask() = default;
    NSTask(const NSTask&) = delete;
    NSTask& operator=(const NSTask&) = delete;

    const std::string& launchPath() const { return path; }
    void setLaunchPath(std::string newPath);
    /// What stands for the launch path on this machine; empty when nothing does.
    const std::string& program() const { return programPath; }
    /// Without the program's own name.
    void setArguments(std::vector<std::string> newArguments) {
        arguments = std::move(newArguments);
    }
    void setStandardInput(Stream stream) { input = std::move(stream); }
    void setStandardOutput(Stream stream) { output = std::move(stream); }
    void setStandardError(Stream stream) { error = std::move(stream); }
    const Stream& standardOutput() const { return output; }

    /// Starts the program that stands for the launch path. The tool's ends of the pipes are closed
    /// here, so that each pipe ends with the tool; so is the writing end of its input, into which
    /// nothing is ever written: a tool that reads its input finds it empty instead of waiting for
    /// good. Raises NSInvalidArgumentException when the program cannot be started.
    void launch();
    /// False before the launch and after the end.
    bool isRunning() const;
    /// Blocks until the tool has ended; at once when it was not launched. On the main thread it
    /// serves the main run loop meanwhile.
    void waitUntilExit();
    /// The exit status, or the number of the signal that ended the tool. 0 before the end.
    int terminationStatus() const;
    pid_t processIdentifier() const;

    /// Launches the tool and reads what it writes to the two pipes it was given, both at once,
    /// until both have ended and the tool has too. On the main thread it serves the main run loop
    /// meanwhile. Raises as launch does, and when the system has nothing left to wait with; the
    /// tool does not run on then.
    Output launchAndRead();
    /// Asks the tool, and all it started, to end. From then on its end is the end of its output,
    /// whoever still holds the pipes. Does nothing for a tool that does not run.
    void terminate();
    /// Whether terminate() found it running.
    bool wasTerminated() const { return terminated; }
    /// Ends them without asking.
    void kill();
    /// Has launchAndRead() return as soon as the tool has ended, though something that it started
    /// still holds a pipe. Does nothing before the launch.
    void stopReadingAtExit();

private:
    void start();
    Output readAll();
    void setReader(ProgramOutput* newReader);
    std::shared_ptr<LaunchedProcess> launched() const;

    std::string path, programPath;
    std::vector<std::string> arguments;
    Stream input, output, error;

    mutable std::mutex mutex; // guards what follows
    std::shared_ptr<LaunchedProcess> process;
    ProgramOutput* reader = nullptr;
    std::atomic<bool> readsUntilExit{false};
    std::atomic<bool> terminated{false};
};
