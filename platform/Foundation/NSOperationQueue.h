// A serial queue: what is added runs in order, never two at once, on a worker thread that sleeps
// while there is nothing to do.
#pragma once

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

class NSOperationQueue {
public:
    NSOperationQueue();
    /// Runs what is left, then ends the worker.
    ~NSOperationQueue();
    NSOperationQueue(const NSOperationQueue&) = delete;
    NSOperationQueue& operator=(const NSOperationQueue&) = delete;

    /// Any thread. Never waits for work to be done. A caller that is going to drain the queue at
    /// once says so, and the worker is left asleep, since the drain runs the operation. Where the
    /// system had no thread for a worker, the calling thread runs it.
    void addOperation(std::function<void()> operation, bool drainFollows = false);
    /// Returns when all that was added before the call has run, some of it perhaps on the calling
    /// thread; what others add meanwhile does not keep it. Called from an operation of this very
    /// queue it returns at once, since that operation can never be finished by then.
    void waitUntilAllOperationsAreFinished();

    /// Drains every queue of the process, of what operations have added as well; for the program's
    /// end.
    static void drainAll();

private:
    struct State;
    std::shared_ptr<State> state;
    std::thread worker;
};
