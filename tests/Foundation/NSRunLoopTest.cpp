#include "Foundation/NSRunLoop.h"
#include "Foundation/NSException.h"
#include "Foundation/NSOperationQueue.h"
#include "Foundation/NSPipe.h"
#include "Foundation/NSThread.h"
#include "support/RealTime.h"
#include "support/TestMachine.h"
#include "System/Machine.h"

#include <ctime>
#include <sys/epoll.h>
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;

class NSRunLoopTest : public MachineTest {
protected:
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    std::shared_ptr<int> target = std::make_shared<int>();
    std::string events;

    void note(const std::string& what) {
        events += what + "@" + std::to_string(static_cast<int>(clock->seconds())) + " ";
    }
    std::shared_ptr<NSTimer> timer(double seconds, const std::string& name, bool repeats = false) {
        return NSTimer::scheduledTimer(
            seconds, target, [this, name] { note(name); }, repeats);
    }
    void runFor(double seconds, NSRunLoopMode mode = NSRunLoopMode::defaultMode) {
        loop.runUntil([] { return false; }, clock->now() + durationOfSeconds(seconds), mode);
    }
};

TEST_F(NSRunLoopTest, TimersOfOneMomentFireInTheOrderInWhichTheyWereScheduled) {
    timer(10, "first");
    const auto poll = timer(10, "poll", true);
    timer(10, "third");
    // What a repeating timer's callback schedules for its own next moment comes after it.
    const auto tick = NSTimer::scheduledTimer(
        10, target, [this] { note("tick"), timer(10, "armed"); }, true);
    runFor(20);
    poll->invalidate();
    tick->invalidate();
    runFor(20);
    EXPECT_EQ(events, "first@10 poll@10 third@10 tick@10 poll@20 tick@20 armed@20 armed@30 ");
}

TEST_F(NSRunLoopTest, TimersRestInTheModalPanelModeAndFireAfterIt) {
    timer(10, "poll", true);
    const auto failing = NSTimer::scheduledTimer(
        20, target, [] { throw NSException("Odd", "a timer's failure"); }, false);
    loop.performBlock([this] { note("performed"); });
    runFor(35, NSRunLoopMode::modalPanel);
    EXPECT_EQ(events, "performed@0 ");
    runFor(6);
    target.reset();
    runFor(20);
    // Late once, not three times, and then at its old pace, until its target is gone.
    EXPECT_EQ(events, "performed@0 poll@35 poll@40 ");
}

TEST_F(NSRunLoopTest, WaitingWorkFromAnotherThreadRunsInOrderAndHandsBackWhatItRaises) {
    NSThread::detachNewThread([this] {
        NSThread::sleepForTimeInterval(18);
        performOnMainThread([this] { note("not waited for"); }, false);
        performOnMainThread([this] { note("waited for"); }, true);
        EXPECT_THROW(performOnMainThread([] { throw NSException("Name", "reason"); }, true),
                     NSException);
        performOnMainThread([this] { note("end"); }, true);
    });
    EXPECT_TRUE(loop.runUntil([&] { return events.ends_with("end@18 "); }, clock->now() + 60s));
    EXPECT_EQ(events, "not waited for@18 waited for@18 end@18 ");
}

TEST_F(NSRunLoopTest, AfterABusyTimeDescriptorsComeFirstAndTimersLast) {
    const NSPipe pipe;
    pipe.fileHandleForWriting()->writeData("ab");
    const int descriptor = pipe.fileHandleForReading()->fileDescriptor();
    timer(1, "timer");
    loop.performBlock([this] { note("performed"); });
    loop.addDescriptor(descriptor, EPOLLIN, [&](std::uint32_t) {
        note("readable");
        loop.removeDescriptor(descriptor); // though there is more to read
    });
    NSThread::sleepForTimeInterval(2);
    runFor(1);
    EXPECT_EQ(events, "readable@2 performed@2 timer@2 ");
}

TEST_F(NSRunLoopTest, EveryReaderReturnsWhenItsHandleIsClosed) {
    EXPECT_TRUE(NSFileHandle::fileHandleWithNullDevice()->availableData().empty());
    clock->toolsCountAsIdle = true; // who might write to the pipe
    const NSPipe pipe;
    for (int reader = 0; reader < 2; ++reader) {
        NSThread::detachNewThread(
            [&] { EXPECT_TRUE(pipe.fileHandleForReading()->availableData().empty()); });
    }
    NSThread::sleepForTimeInterval(1); // passes once both wait
    pipe.fileHandleForReading()->closeFile();
    EXPECT_TRUE(threadsEnd());
}

TEST_F(NSRunLoopTest, ALoopWithNothingToDoSleepsInsteadOfPolling) {
    Machine::install(nullptr);
    rusage before{}, after{};
    getrusage(RUSAGE_THREAD, &before);
    const auto used = std::clock();
    loop.runUntil([] { return false; }, std::chrono::steady_clock::now() + 300ms);
    EXPECT_LT(std::clock() - used, CLOCKS_PER_SEC / 5) << "of the processor, busy or not";
    getrusage(RUSAGE_THREAD, &after);
    Machine::install(machine);
    // On a busy machine a lock or a page that is not there costs a few.
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 30);
}

TEST_F(NSRunLoopTest, AQueueRunsInOrderOneAtATimeWhoeverDrains) {
    NSOperationQueue queue;
    queue.addOperation([] { throw NSException("Odd", "an operation's failure"); });
    for (const char* name : {"a", "b", "c"}) {
        queue.addOperation([&, name] {
            NSThread::sleepForTimeInterval(3);
            note(name);
            queue.waitUntilAllOperationsAreFinished(); // must not wait for itself
        });
        NSThread::detachNewThread([&] { queue.waitUntilAllOperationsAreFinished(); });
    }
    NSOperationQueue::drainAll();
    EXPECT_EQ(events, "a@3 b@6 c@9 ");
    EXPECT_TRUE(threadsEnd());
    // What comes later does not keep who drains, and a queue goes only when nobody runs its work.
    const auto slowly = [&](const char* name) {
        NSThread::sleepForTimeInterval(3);
        note(name);
    };
    auto brief = std::make_unique<NSOperationQueue>();
    brief->addOperation([&] { slowly("c"); });
    brief->addOperation([&] { slowly("d"); }, true);
    NSThread::detachNewThread([&] {
        NSThread::sleepForTimeInterval(1);
        brief->addOperation([&] { slowly("later"); });
    });
    brief->waitUntilAllOperationsAreFinished();
    note("drained");
    NSOperationQueue::drainAll();
    brief->addOperation([&] { slowly("e"); }, true);
    NSThread::detachNewThread([] { NSOperationQueue::drainAll(); });
    NSThread::sleepForTimeInterval(1);
    brief = nullptr;
    note("gone");
    EXPECT_EQ(events, "a@3 b@6 c@9 c@12 d@15 drained@15 later@18 e@21 gone@21 ");
    EXPECT_TRUE(threadsEnd());
}

} // namespace
