#include "Shared/QVTask.h"

#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSThread.h"
#include "Foundation/NSWorkspace.h"
#include "Shared/QVLog.h"
#include "System/Machine.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double patienceAfterTermination = 5; // seconds
constexpr double longestTimeout = 1e9; // seconds; the clock's unit has room for ten times that
constexpr const char* asyncDataNotification = "QVAsyncTaskDataNotification";
constexpr const char* dataItem = "NSFileHandleNotificationDataItem";

bool canBeRun(const NSTask& task) {
    const bool runs = !task.program().empty() &&
                      NSFileManager::defaultManager().isExecutableFileAtPath(task.program()) &&
                      !NSWorkspace::sharedWorkspace().isFilePackageAtPath(task.program());
    if (!runs) {
        NSLog("Error: %@ is not executable", task.launchPath());
        QVLog::appendLog("Error: %@ is not executable", task.launchPath());
    }
    return runs;
}

std::shared_ptr<NSTask> taskFor(const std::string& path, const QVTask::Arguments& arguments) {
    auto task = std::make_shared<NSTask>();
    task->setLaunchPath(path);
    task->setArguments(arguments);
    return task;
}

/// None when the path is refused. Puts the task into the slot, if there is one.
std::shared_ptr<NSTask> checkedTaskFor(const std::string& path, const QVTask::Arguments& arguments,
                                       TaskSlot* slot) {
    auto task = taskFor(path, arguments);
    if (!canBeRun(*task)) {
        return nullptr;
    }
    if (slot != nullptr) {
        slot->setTask(task);
    }
    return task;
}

/// The same, with both outputs to the null device.
std::shared_ptr<NSTask> silentTaskFor(const std::string& path, const QVTask::Arguments& arguments,
                                      TaskSlot* slot) {
    auto task = checkedTaskFor(path, arguments, slot);
    if (task) {
        task->setStandardError(NSFileHandle::fileHandleWithNullDevice());
        task->setStandardOutput(NSFileHandle::fileHandleWithNullDevice());
    }
    return task;
}

std::optional<std::string> textOf(const std::optional<NSData>& bytes, NSStringEncoding encoding) {
    return bytes ? stringWithData(*bytes, encoding) : "";
}

/// Where a task's output is read; none for a task without an output pipe.
std::shared_ptr<NSFileHandle> readingEnd(const NSTask& task) {
    const auto* pipe = std::get_if<std::shared_ptr<NSPipe>>(&task.standardOutput());
    return pipe != nullptr ? (*pipe)->fileHandleForReading() : nullptr;
}

NSNotification dataNotification(NSData bytes) {
    return {asyncDataNotification, std::nullopt,
            NSDictionary{{dataItem, PropertyList(std::move(bytes))}}};
}

} // namespace

bool QVTask::runTask(const std::string& launchPath, const Arguments& arguments, TaskSlot* task) {
    const auto tool = silentTaskFor(launchPath, arguments, task);
    if (!tool) {
        return false;
    }
    tool->launch();
    tool->waitUntilExit();
    return true;
}

bool QVTask::runTask(const std::string& launchPath, const Arguments& arguments) {
    return runTask(launchPath, arguments, nullptr);
}

void QVTask::runTask(const std::string& launchPath, const Arguments& arguments, double timeout) {
    create()->runTaskInstance(launchPath, arguments, timeout);
}

void QVTask::runTaskAndReturn(const std::string& launchPath, const Arguments& arguments) {
    if (const auto tool = silentTaskFor(launchPath, arguments, nullptr)) {
        tool->launch();
    }
}

int QVTask::terminationCodeFromTask(const std::string& launchPath, const Arguments& arguments,
                                    TaskSlot* task) {
    const auto tool = silentTaskFor(launchPath, arguments, task);
    if (!tool) {
        return -1;
    }
    tool->launch();
    if (tool->isRunning()) {
        tool->waitUntilExit();
    }
    return tool->terminationStatus();
}

int QVTask::terminationCodeFromTask(const std::string& launchPath, const Arguments& arguments) {
    return terminationCodeFromTask(launchPath, arguments, nullptr);
}

int QVTask::terminationCodeFromTask(const std::string& launchPath, const Arguments& arguments,
                                    double timeout) {
    return create()->terminationCodeFromTaskInstance(launchPath, arguments, timeout);
}

std::optional<NSData> QVTask::dataFromTask(const std::string& launchPath,
                                           const Arguments& arguments, TaskSlot* task) {
    const auto tool = checkedTaskFor(launchPath, arguments, task);
    if (!tool) {
        return std::nullopt;
    }
    tool->setStandardOutput(std::make_shared<NSPipe>());
    tool->setStandardError(std::make_shared<NSPipe>());
    tool->setStandardInput(std::make_shared<NSPipe>());
    auto bytes = tool->launchAndRead();
    if (bytes.exceeded) {
        NSLog("Task wrote too much. Terminated");
        QVLog::appendLog("Task %@ wrote more than %d MB and was terminated.", launchPath,
                         NSTask::maximumOutput >> 20U);
    }
    return std::move(bytes.error.empty() ? bytes.output : bytes.error);
}

std::optional<NSData> QVTask::dataFromTask(const std::string& launchPath,
                                           const Arguments& arguments, double timeout) {
    return create()->dataFromTaskInstance(launchPath, arguments, timeout);
}

std::optional<std::string> QVTask::stringFromTask(const std::string& launchPath,
                                                  const Arguments& arguments,
                                                  NSStringEncoding encoding, TaskSlot* task) {
    return textOf(dataFromTask(launchPath, arguments, task), encoding);
}

std::optional<std::string> QVTask::stringFromTask(const std::string& launchPath,
                                                  const Arguments& arguments, TaskSlot* task) {
    return stringFromTask(launchPath, arguments, NSASCIIStringEncoding, task);
}

std::optional<std::string> QVTask::stringFromTask(const std::string& launchPath,
                                                  const Arguments& arguments) {
    return stringFromTask(launchPath, arguments, NSASCIIStringEncoding, nullptr);
}

std::optional<std::string> QVTask::stringFromTask(const std::string& launchPath,
                                                  const Arguments& arguments,
                                                  NSStringEncoding encoding, double timeout) {
    return textOf(dataFromTask(launchPath, arguments, timeout), encoding);
}

std::optional<std::string> QVTask::stringFromTask(const std::string& launchPath,
                                                  const Arguments& arguments, double timeout) {
    return stringFromTask(launchPath, arguments, NSASCIIStringEncoding, timeout);
}

/// Runs `body` with the slot for its task, while a timer thread measures the time.
template <class Body>
auto QVTask::withTimeout(double seconds, const Body& body) {
    const auto whole = static_cast<std::int64_t>(
        std::isnan(seconds) ? 0 : std::clamp(std::trunc(seconds), 0.0, longestTimeout));
    setTheTask(nullptr);
    NSThread timer(
        [self = shared_from_this(), whole, run = nextRun()] { self->setupTimeout(whole, run); });
    timer.start();
    struct Finish { // an exception leaves nothing behind either
        QVTask& runner;
        NSThread& timer;
        ~Finish() {
            runner.setTheTask(nullptr);
            runner.nextRun();
            if (timer.isExecuting() && !timer.isCancelled() && !timer.isFinished()) {
                timer.cancel();
            }
        }
    };
    const Finish finish{*this, timer};
    return body(&slot);
}

void QVTask::runTaskInstance(const std::string& launchPath, const Arguments& arguments,
                             double timeout) {
    withTimeout(timeout, [&](TaskSlot* task) { return runTask(launchPath, arguments, task); });
}

int QVTask::terminationCodeFromTaskInstance(const std::string& launchPath,
                                            const Arguments& arguments, double timeout) {
    return withTimeout(timeout, [&](TaskSlot* task) {
        return terminationCodeFromTask(launchPath, arguments, task);
    });
}

std::optional<NSData> QVTask::dataFromTaskInstance(const std::string& launchPath,
                                                   const Arguments& arguments, double timeout) {
    return withTimeout(timeout,
                       [&](TaskSlot* task) { return dataFromTask(launchPath, arguments, task); });
}

std::uint64_t QVTask::nextRun() {
    const std::lock_guard lock(runMutex);
    runChanged.notifyAll();
    return ++run;
}

void QVTask::setupTimeout(std::int64_t seconds, std::uint64_t timedRun) {
    Clock& clock = Machine::current().clock();
    {
        std::unique_lock lock(runMutex);
        const auto end = clock.now() + std::chrono::seconds(seconds);
        if (runChanged.wait(
                lock, [&] { return run != timedRun; }, end)) {
            return;
        }
    }
    std::shared_ptr<NSTask> tool;
    performOnMainThread(
        [&] {
            // No other run begins meanwhile.
            const std::lock_guard lock(runMutex);
            if (run == timedRun) {
                tool = theTask();
                timeout();
            }
        },
        true);
    if (tool && tool->wasTerminated() &&
        !slot.waitUntilEmpty(clock.now() + durationOfSeconds(patienceAfterTermination))) {
        tool->kill();
    }
}

void QVTask::timeout() {
    const auto tool = theTask();
    if (!tool) {
        return;
    }
    if (tool->isRunning()) {
        NSLog("Task timed out. Terminating...");
        QVLog::appendLog("Task %@ timed out. Terminating...", tool->launchPath());
        tool->terminate();
    } else {
        // It has ended, and whoever still holds its output shall not keep the caller.
        tool->stopReadingAtExit();
    }
}

void QVTask::asyncDataFromTask(const std::string& launchPath, const Arguments& arguments,
                               std::shared_ptr<void> newDelegate, Selector newSelector,
                               std::shared_ptr<void> newObject) {
    const auto tool = taskFor(launchPath, arguments);
    tool->setStandardOutput(std::make_shared<NSPipe>());
    tool->setStandardError(NSFileHandle::fileHandleWithNullDevice());
    {
        // Let go of outside the lock, as the new ones' names end.
        const std::lock_guard lock(mutex);
        delegate.swap(newDelegate);
        selector.swap(newSelector);
        object.swap(newObject);
        setTheTask(tool);
    }
    NSThread::detachNewThread([self = shared_from_this(), tool] { self->launchAsync(tool); });
}

void QVTask::launchAsyncTask() { launchAsync(theTask()); }

void QVTask::launchAsync(const std::shared_ptr<NSTask>& tool) {
    if (!tool) {
        QVLog::appendLog("Unable to launch async task - no task set");
        return;
    }
    try {
        tool->launch();
    } catch (const NSException& exception) {
        QVLog::appendLog("Unable to launch async task - %@", exception.reason());
        takeData(dataNotification({}), tool);
        return;
    }
    const auto output = readingEnd(*tool);
    bool ended = false;
    while (!ended) {
        auto bytes = output ? output->availableData() : NSData();
        ended = bytes.empty();
        takeData(dataNotification(std::move(bytes)), tool);
    }
    tool->terminate(); // a run that was ended before its launch leaves no tool either
}

void QVTask::asyncTaskReturnData(const NSNotification& notification) {
    takeData(notification, theTask());
}

/// A run that another one has followed on this instance has nobody left to tell.
void QVTask::takeData(const NSNotification& notification, const std::shared_ptr<NSTask>& tool) {
    const auto* item =
        notification.userInfo ? notification.userInfo->objectForKey(dataItem) : nullptr;
    const auto* chunk = item != nullptr ? std::get_if<NSData>(&item->value) : nullptr;
    const NSData bytes = chunk != nullptr ? *chunk : NSData();
    std::unique_lock lock(mutex);
    const bool isCurrent = theTask() == tool;
    const auto receiver = isCurrent ? delegate : nullptr;
    const auto call = selector;
    const auto context = object;
    lock.unlock();
    if (receiver && call) {
        // What a delegate raises must not keep the run from its end.
        reportExceptions([&] { call(receiver.get(), bytes, *this, context); });
    }
    if (bytes.empty()) {
        terminate(tool);
    }
}

void QVTask::terminateAsyncTask() { terminate(theTask()); }

void QVTask::terminate(const std::shared_ptr<NSTask>& tool) {
    // Let go of outside the lock: their destructors may call here again.
    std::shared_ptr<void> oldDelegate, oldObject;
    {
        // The reading thread, which sees the closed end, is to find nobody to tell of it.
        std::lock_guard lock(mutex);
        if (const auto output = tool ? readingEnd(*tool) : nullptr) {
            output->closeFile();
        }
        if (theTask() == tool) {
            oldDelegate.swap(delegate);
            oldObject.swap(object);
            selector = nullptr;
            setTheTask(nullptr);
        }
    }
    if (tool) {
        tool->terminate();
    }
}
