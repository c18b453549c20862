#include "Foundation/NSThread.h"

#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "System/Condition.h"
#include "System/DetachedThread.h"
#include "System/Machine.h"

#include <exception>
#include <mutex>

namespace {

std::atomic<std::size_t> runningThreads{0};

void runBody(std::function<void()>& body) {
    reportExceptions(body);
    body = nullptr; // lets go of what the thread held while it still counts as running
}

} // namespace

void NSThread::start() {
    Clock& clock = Machine::current().clock();
    const auto begin = [&] {
        clock.threadStarts();
        ++runningThreads;
        flags->executing = true;
    };
    const auto end = [&clock, state = flags] {
        state->executing = false;
        state->finished = true;
        clock.threadEnds();
        --runningThreads; // last: once it is 0 the machine may go
    };
    begin();
    try {
        raisingSystemErrors(NSInternalInconsistencyException, [&] {
            startDetachedThread([work = std::move(body), end]() mutable {
                runBody(work);
                end();
            });
        });
    } catch (const NSException&) {
        end();
        throw;
    }
}

void NSThread::detachNewThread(std::function<void()> body) { NSThread(std::move(body)).start(); }

bool NSThread::isMainThread() { return NSRunLoop::mainRunLoop().isCurrentThread(); }

void NSThread::sleepForTimeInterval(double seconds) {
    Machine::current().clock().sleepFor(durationOfSeconds(seconds));
}

std::size_t NSThread::running() { return runningThreads; }

void performOnMainThread(std::function<void()> work, bool waitUntilDone) {
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    if (!waitUntilDone) {
        loop.performBlock(std::move(work));
        return;
    }
    if (loop.isCurrentThread()) {
        work();
        return;
    }
    std::mutex mutex;
    Condition finished;
    bool done = false;
    std::exception_ptr raised;
    loop.performBlock([&] {
        try {
            work();
        } catch (...) {
            raised = std::current_exception();
        }
        std::lock_guard lock(mutex);
        done = true;
        finished.notifyAll();
    });
    std::unique_lock lock(mutex);
    finished.wait(lock, [&] { return done; });
    lock.unlock();
    if (raised) {
        std::rethrow_exception(raised);
    }
}
