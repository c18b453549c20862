// Runs external programs, given by absolute path, and hands back one thing each: nothing, success,
// the exit status, the output as bytes or as text.
//
// Before anything else every operation but the asynchronous run checks the path: what is no
// executable file, or a folder that passes for a file, is refused with "Error: ... is not
// executable" on the console and in the log. A program that passes and yet cannot be started raises
// the platform's exception.
//
// The calls block until the tool has ended, and those that return output until its output has too;
// on the main thread the main run loop is served meanwhile. A time-out in seconds is cut to whole
// ones; after it the main thread looks once whether the tool still runs, and if so asks it and all
// it started to end. From then on nothing but the tool itself keeps the caller, and a tool that has
// not ended 5 seconds later is killed. So is one that writes more than 64 MB to be returned.
#pragma once

#include "Foundation/NSNotification.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSStringEncoding.h"
#include "Shared/TaskSlot.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

/// Class operations may be called from any thread. An instance serves one run at a time.
class QVTask : public NSObject, public std::enable_shared_from_this<QVTask> {
public:
    using Arguments = std::vector<std::string>;
    /// Told of each chunk of an asynchronous run, on the thread that reads it, and once more with
    /// empty bytes at the end.
    using Selector = std::function<void(void* delegate, const NSData& bytes, QVTask& task,
                                        const std::shared_ptr<void>& object)>;

    static std::shared_ptr<QVTask> create() { return std::shared_ptr<QVTask>(new QVTask); }

    // Both outputs to the null device. A slot receives the task before the launch, and is valid
    // until the call returns.

    /// False when the path is refused, else true after the tool's end.
    static bool runTask(const std::string& launchPath, const Arguments& arguments = {});
    static bool runTask(const std::string& launchPath, const Arguments& arguments, TaskSlot* task);
    static void runTask(const std::string& launchPath, const Arguments& arguments, double timeout);
    /// Returns as soon as the tool has started.
    static void runTaskAndReturn(const std::string& launchPath, const Arguments& arguments = {});
    /// The exit status, or the number of the signal that ended the tool; -1 when the path is
    /// refused.
    static int terminationCodeFromTask(const std::string& launchPath,
                                       const Arguments& arguments = {});
    static int terminationCodeFromTask(const std::string& launchPath, const Arguments& arguments,
                                       TaskSlot* task);
    static int terminationCodeFromTask(const std::string& launchPath, const Arguments& arguments,
                                       double timeout);

    // The output: what the tool wrote to standard error if it wrote anything there, else what it
    // wrote to standard output. Its standard input is empty.

    /// None when the path is refused.
    static std::optional<NSData> dataFromTask(const std::string& launchPath,
                                              const Arguments& arguments, TaskSlot* task);
    static std::optional<NSData> dataFromTask(const std::string& launchPath,
                                              const Arguments& arguments, double timeout);
    /// Empty when the path is refused, none when the output is not valid in the encoding: ASCII
    /// where none is given.
    static std::optional<std::string> stringFromTask(const std::string& launchPath,
                                                     const Arguments& arguments = {});
    static std::optional<std::string> stringFromTask(const std::string& launchPath,
                                                     const Arguments& arguments, TaskSlot* task);
    static std::optional<std::string> stringFromTask(const std::string& launchPath,
                                                     const Arguments& arguments, double timeout);
    static std::optional<std::string> stringFromTask(const std::string& launchPath,
                                                     const Arguments& arguments,
                                                     NSStringEncoding encoding, TaskSlot* task);
    static std::optional<std::string> stringFromTask(const std::string& launchPath,
                                                     const Arguments& arguments,
                                                     NSStringEncoding encoding, double timeout);

    // The instance's part of the calls with a time-out.

    void runTaskInstance(const std::string& launchPath, const Arguments& arguments, double timeout);
    int terminationCodeFromTaskInstance(const std::string& launchPath, const Arguments& arguments,
                                        double timeout);
    std::optional<NSData> dataFromTaskInstance(const std::string& launchPath,
                                               const Arguments& arguments, double timeout);
    /// The body of the timer thread of a run: sleeps, but not longer than the run lasts, and has
    /// the main thread check.
    void setupTimeout(std::int64_t seconds, std::uint64_t timedRun);
    /// The check, on the main thread.
    void timeout();

    /// Starts a tool on a thread of its own and returns at once. The path is not checked; a tool
    /// that cannot be started is reported in the log, and the delegate hears of the end at once.
    /// Delegate and object are kept until then.
    void asyncDataFromTask(const std::string& launchPath, const Arguments& arguments,
                           std::shared_ptr<void> delegate, Selector selector,
                           std::shared_ptr<void> object = nullptr);
    template <class Delegate>
    void asyncDataFromTask(const std::string& launchPath, const Arguments& arguments,
                           const std::shared_ptr<Delegate>& newDelegate,
                           void (Delegate::*method)(const NSData&, QVTask&,
                                                    const std::shared_ptr<void>&),
                           std::shared_ptr<void> newObject = nullptr) {
        asyncDataFromTask(
            launchPath, arguments, newDelegate,
            [method](void* receiver, const NSData& bytes, QVTask& task, const auto& context) {
                (static_cast<Delegate*>(receiver)->*method)(bytes, task, context);
            },
            std::move(newObject));
    }
    /// Ends the tool and lets go of delegate and object. Any thread.
    void terminateAsyncTask();
    /// The body of the reading thread.
    void launchAsyncTask();
    /// Takes a chunk under NSFileHandleNotificationDataItem in the user info; an empty one ends the
    /// run.
    void asyncTaskReturnData(const NSNotification& notification);

    std::shared_ptr<NSTask> theTask() const { return slot.task(); }
    void setTheTask(std::shared_ptr<NSTask> task) { slot.setTask(std::move(task)); }

private:
    QVTask() = default;
    template <class Body>
    auto withTimeout(double seconds, const Body& body);
    void launchAsync(const std::shared_ptr<NSTask>& tool);
    void takeData(const NSNotification& notification, const std::shared_ptr<NSTask>& tool);
    void terminate(const std::shared_ptr<NSTask>& tool);
    /// Ends the wait of the timer of the run before.
    std::uint64_t nextRun();

    TaskSlot slot; // holds theTask
    std::shared_ptr<void> delegate;
    Selector selector;
    std::shared_ptr<void> object;
    std::mutex mutex; // guards delegate, selector and object

    std::mutex runMutex; // guards run
    Condition runChanged;
    std::uint64_t run = 0; // the number of the timed run, and once more of its end
};
