#include "Foundation/NSTask.h"

#include "Foundation/NSException.h"
#include "System/Machine.h"
#include "System/ProgramOutput.h"

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

void closeReading(const NSTask::Stream& stream) {
    if (const auto pipe = pipeOf(stream)) {
        pipe->fileHandleForReading()->closeFile();
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
        return raisingSystemErrors(NSInternalInconsistencyException, [this] { return readAll(); });
    } catch (const NSException&) {
        kill();
        throw;
    }
}

NSTask::Output NSTask::readAll() {
    ProgramOutput both(readingEnd(output), readingEnd(error), maximumOutput);
    start();
    setReader(&both);
    const std::shared_ptr<NSTask> reading(this, [](NSTask* task) { task->setReader(nullptr); });
    const auto closeAllWriting = [this] {
        closeWriting(output);
        closeWriting(error);
    };
    both.readUntilEnd(*launched(), closeAllWriting, [&] {
        if (both.hasReachedLimit()) {
            kill();
        }
        return readsUntilExit.load();
    });
    Output all{both.takeOutput(), both.takeError(), both.hasReachedLimit()};
    closeReading(output);
    closeReading(error);
    return all;
}

void NSTask::setReader(ProgramOutput* newReader) {
    std::lock_guard lock(mutex);
    reader = newReader;
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
