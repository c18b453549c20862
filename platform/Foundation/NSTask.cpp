#include "Foundation/NSTask.h"

#include "Foundation/DescriptorWait.h"
#include "Foundation/NSException.h"
#include "Foundation/PipeReader.h"

#include <csignal>
#include <fcntl.h>
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

void closeWriting(const NSTask::Stream& stream) {
    if (const auto pipe = pipeOf(stream)) {
        pipe->fileHandleForWriting()->closeFile();
    }
}

} // namespace

void NSTask::launch() {
    LaunchRequest request;
    request.launchPath = Machine::current().programForTool(path);
    if (request.launchPath.empty()) {
        throw NSException(NSInvalidArgumentException, "There is no program at " + path);
    }
    request.arguments = arguments;
    request.standardInput = descriptorOf(input, STDIN_FILENO);
    request.standardOutput = descriptorOf(output, STDOUT_FILENO);
    request.standardError = descriptorOf(error, STDERR_FILENO);
    std::shared_ptr<LaunchedProcess> started = Machine::current().launch(request);
    if (const auto pipe = pipeOf(input)) {
        pipe->fileHandleForReading()->closeFile();
        pipe->fileHandleForWriting()->closeFile();
    }
    closeWriting(output);
    closeWriting(error);
    std::lock_guard lock(mutex);
    process = std::move(started);
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

NSTask::Output NSTask::readToEnd() {
    const auto tool = launched();
    DescriptorWait waiting;
    PipeReader outputReader(pipeOf(output), waiting);
    PipeReader errorReader(pipeOf(error), waiting);
    const FileDescriptor exit(tool ? duplicate(tool->exitDescriptor()) : -1);
    bool exitSeen = !tool;
    if (exit) {
        waiting.add(exit.get(), [&] {
            exitSeen = true;
            waiting.remove(exit.get());
        });
    }
    {
        std::lock_guard lock(mutex);
        reader = &waiting;
    }
    const auto ended = [&] { return outputReader.hasEnded() && errorReader.hasEnded(); };
    waiting.wait([&] { return ended() || (readsUntilExit && (exitSeen || !exit)); });
    {
        std::lock_guard lock(mutex);
        reader = nullptr;
    }
    waitUntilExit();
    return {outputReader.takeRest(), errorReader.takeRest()};
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
