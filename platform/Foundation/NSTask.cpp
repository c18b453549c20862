#include "Foundation/NSTask.h"

#include "Foundation/NSException.h"
#include "System/Machine.h"
#include "System/PipeReader.h"

#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace {

std::shared_ptr<NSPipe> pipeOf(const NSTask::Stream& stream) {
    const auto* pipe = std::get_if<std::shared_ptr<NSPipe>>(&stream);
    return pipe != nullptr ? *pipe : nullptr;
}

int descriptorOf(const NSTask::Stream& stream, int own) {
    if (const auto pipe = pipeOf(stream)) {
        const auto& end =
            own == STDIN_FILENO ? pipe->fileHandleForReading() : pipe->fileHandleForWriting();
        return end->fileDescriptor();
    }
    const auto* handle = std::get_if<std::shared_ptr<NSFileHandle>>(&stream);
    return handle != nullptr && *handle ? (*handle)->fileDescriptor() : own;
}

/// One of this wait's own, since another wait for the same tool may be under way; -1 for none.
int duplicate(int descriptor) {
    return descriptor >= 0 ? fcntl(descriptor, F_DUPFD_CLOEXEC, 0) : -1;
}

/// Where what a tool writes is read; -1 for a stream that is no pipe.
int readingEnd(const NSTask::Stream& stream) {
    const auto pipe = pipeOf(stream);
    return pipe ? pipe->fileHandleForReading()->fileDescriptor() : -1;
}

NSData takeRest(PipeReader& reader, const NSTask::Stream& stream) {
    auto bytes = reader.takeRest();
    if (const auto pipe = pipeOf(stream)) {
        pipe->fileHandleForReading()->closeFile();
    }
    return bytes;
}

std::shared_ptr<LaunchedProcess> launchProgram(const LaunchRequest& request) {
    try {
        return Machine::current().launch(request);
    } catch (const std::system_error& error) {
        throw NSException(NSInvalidArgumentException, error.what());
    }
}

void closeWriting(const NSTask::Stream& stream) {
    if (const auto pipe = pipeOf(stream)) {
        pipe->fileHandleForWriting()->closeFile();
    }
}

} // namespace

void NSTask::setLaunchPath(std::string newPath) {
    path = std::move(newPath);
    programPath = Machine::current().programForTool(path);
}

void NSTask::start() {
    if (programPath.empty()) {
        throw NSException(NSInvalidArgumentException, "There is no program at " + path);
    }
    LaunchRequest request;
    request.launchPath = programPath;
    request.arguments = arguments;
    request.standardInput = descriptorOf(input, STDIN_FILENO);
    request.standardOutput = descriptorOf(output, STDOUT_FILENO);
    request.standardError = descriptorOf(error, STDERR_FILENO);
    std::shared_ptr<LaunchedProcess> started = launchProgram(request);
    if (const auto pipe = pipeOf(input)) {
        pipe->fileHandleForReading()->closeFile();
        pipe->fileHandleForWriting()->closeFile();
    }
    std::lock_guard lock(mutex);
    process = std::move(started);
}

void NSTask::launch() {
    start();
    closeWriting(output);
    closeWriting(error);
}

std::shared_ptr<LaunchedProcess> NSTask::launched() const {
    std::lock_guard lock(mutex);
    return process;
}

bool NSTask::isRunning() const {
    const auto tool = launched();
    return tool && tool->isRunning();
}

void NSTask::waitUntilExit() {
    if (const auto tool = launched()) {
        tool->waitUntilExit();
    }
}

int NSTask::terminationStatus() const {
    const auto tool = launched();
    return tool ? tool->terminationStatus() : 0;
}

pid_t NSTask::processIdentifier() const {
    const auto tool = launched();
    return tool ? tool->processIdentifier() : 0;
}

NSTask::Output NSTask::launchAndRead() {
    start();
    const auto tool = launched();
    DescriptorWait waiting;
    PipeReader outputReader(readingEnd(output), waiting);
    PipeReader errorReader(readingEnd(error), waiting);
    const FileDescriptor exit(duplicate(tool->exitDescriptor()));
    // The pipes' ends before the tool's own would wake this thread for nothing, so its writing ends
    // stay open until then.
    bool exitSeen = false;
    const auto seeExit = [&] {
        exitSeen = true;
        waiting.remove(exit.get());
        closeWriting(output);
        closeWriting(error);
        outputReader.readWhatIsThere();
        errorReader.readWhatIsThere();
    };
    if (exit) {
        waiting.add(exit.get(), seeExit);
    } else {
        seeExit(); // it can only be waited for, once its output has ended
    }
    {
        std::lock_guard lock(mutex);
        reader = &waiting;
    }
    const auto ended = [&] { return outputReader.hasEnded() && errorReader.hasEnded(); };
    waiting.wait([&] { return exitSeen && (ended() || readsUntilExit); });
    {
        std::lock_guard lock(mutex);
        reader = nullptr;
    }
    if (!exit) {
        waitUntilExit();
    }
    return {takeRest(outputReader, output), takeRest(errorReader, error)};
}

void NSTask::terminate() {
    if (const auto tool = launched(); tool && tool->isRunning()) {
        terminated = true;
        tool->signal(SIGTERM);
    }
    stopReadingAtExit();
}

void NSTask::kill() {
    if (const auto tool = launched()) {
        tool->signal(SIGKILL);
    }
    stopReadingAtExit();
}

void NSTask::stopReadingAtExit() {
    std::lock_guard lock(mutex);
    readsUntilExit = readsUntilExit || process;
    if (reader != nullptr) {
        reader->wakeUp();
    }
}
