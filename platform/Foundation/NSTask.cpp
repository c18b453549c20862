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
    std::shared_ptr<LaunchedProcess> started;
    try {
        started = Machine::current().launch(request);
    } catch (const std::system_error& error) {
        throw NSException(NSInvalidArgumentException,
                          "Couldn't launch " + path + ": " + error.code().message());
    }
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
        raisingSystemErrors(NSInternalInconsistencyException, [&] { tool->waitUntilExit(); });
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
    try {
        return raisingSystemErrors(NSInternalInconsistencyException, [this] {
            // What waits is there before the tool is.
            DescriptorWait waiting;
            PipeReader outputReader(readingEnd(output), waiting, maximumOutput);
            PipeReader errorReader(readingEnd(error), waiting, maximumOutput);
            start();
            readUntilEnd(waiting, outputReader, errorReader);
            return Output{takeRest(outputReader, output), takeRest(errorReader, error),
                          outputReader.hasReachedLimit() || errorReader.hasReachedLimit()};
        });
    } catch (const NSException&) {
        kill();
        throw;
    }
}

void NSTask::readUntilEnd(DescriptorWait& waiting, PipeReader& outputReader,
                          PipeReader& errorReader) {
    const auto tool = launched();
    const int exit = tool->exitDescriptor();
    // The pipes' ends before the tool's own would wake this thread for nothing, so its writing ends
    // stay open until then.
    bool exitSeen = false;
    const auto seeExit = [&] {
        exitSeen = true;
        waiting.remove(exit);
        closeWriting(output);
        closeWriting(error);
        outputReader.readWhatIsThere();
        errorReader.readWhatIsThere();
    };
    if (exit >= 0) {
        waiting.add(exit, seeExit);
    } else {
        seeExit(); // it can only be waited for, once its output has ended
    }
    {
        std::lock_guard lock(mutex);
        reader = &waiting;
    }
    waiting.wait([&] {
        if (outputReader.hasReachedLimit() || errorReader.hasReachedLimit()) {
            kill();
        }
        const bool ended = outputReader.hasEnded() && errorReader.hasEnded();
        return exitSeen && (ended || readsUntilExit);
    });
    {
        std::lock_guard lock(mutex);
        reader = nullptr;
    }
    if (exit < 0) {
        waitUntilExit();
    }
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
