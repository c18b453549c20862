#include "Foundation/NSRunLoop.h"
#include "Foundation/NSException.h"
#include "Foundation/NSOperationQueue.h"
#include "Foundation/NSPipe.h"
#include "Foundation/NSThread.h"
#include "support/TestMachine.h"

#include <sys/epoll.h>
#include <sys/resource.h>

namespace {

using namespace std::chrono_literals;

class NSRunLoopTest : public MachineTest {
protected:
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    std::shared_ptr<int> target = std::make_shared<int>();
    std::vector<std::string> events;

    void note(const std::string& what) {
        events.push_back(what + "@" + std::to_string(static_cast<int>(clock->seconds())));
    }
    std::shared_ptr<NSTimer> timer(double seconds, const std::string& name, bool repeats = false) {
        return NSTimer::scheduledTimer(
            seconds, target, [this, name] { note(name); }, repeats);
    }
    void runFor(double seconds, NSRunLoopMode mode = NSRunLoopMode::defaultMode) {
        loop.runUntil([] { return false; }, clock->now() + durationOfSeconds(seconds), mode);
    }
    using Events = std::vector<std::string>;
};

TEST_F(NSRunLoopTest, TimersOfOneMomentFireInTheOrderInWhichTheyWereScheduled) {
    timer(10, "first");
    const auto poll = timer(10, "poll", true);
    timer(10, "third");
    // What a repeating timer's callback schedules for its own next moment comes after it.
    const auto tick = NSTimer::scheduledTimer(
        10, target, [this] { note("tick"), timer(10, "armed by tick"); }, true);
    runFor(20);
    EXPECT_EQ(events, (Events{"first@10", "poll@10", "third@10", "tick@10", "poll@20", "tick@20",
                              "armed by tick@20"}));
    poll->invalidate();
    tick->invalidate();
    EXPECT_FALSE(poll->isValid());
    runFor(20);
    EXPECT_EQ(events.back(), "armed by tick@30");
}

TEST_F(NSRunLoopTest, TimersRestInTheModalPanelModeAndFireAfterIt) {
    const auto poll = timer(10, "poll", true);
    loop.performBlock([this] { note("performed"); });
    runFor(35, NSRunLoopMode::modalPanel);
    EXPECT_EQ(events, (Events{"performed@0"}));
    runFor(6);
    // Late once, not three times, and then at its old pace.
    EXPECT_EQ(events, (Events{"performed@0", "poll@35", "poll@40"}));
    target.reset();
    runFor(20);
    EXPECT_EQ(events.size(), 3U) << "a timer whose target is gone never fires";
    EXPECT_FALSE(poll->isValid());
}

TEST_F(NSRunLoopTest, WaitingWorkFromAnotherThreadRunsInOrderAndHandsBackWhatItRaises) {
    NSThread::detachNewThread([this] {
        NSThread::sleepForTimeInterval(18);
        performOnMainThread([this] { note("not waited for"); }, false);
        performOnMainThread([this] { note("waited for"); }, true);
        try {
            performOnMainThread([] { throw NSException("Name", "reason"); }, true);
        } catch (const NSException& exception) {
            performOnMainThread([&] { note(*exception.name()); }, true);
        }
    });
    // Not until the thread has ended: time may jump to the deadline before it is counted as gone.
    ASSERT_TRUE(loop.runUntil([&] { return events.size() == 3; }, clock->now() + 60s));
    EXPECT_EQ(events, (Events{"not waited for@18", "waited for@18", "Name@18"}));
}

TEST_F(NSRunLoopTest, ADescriptorIsServedUntilItIsRemovedEvenByItsOwnHandler) {
    const NSPipe pipe;
    pipe.fileHandleForWriting()->writeData("ab");
    const int descriptor = pipe.fileHandleForReading()->fileDescriptor();
    loop.addDescriptor(descriptor, EPOLLIN, [&](std::uint32_t) {
        note("readable");
        loop.removeDescriptor(descriptor);
        throw NSException("Name", "reason");
    });
    runFor(1);
    runFor(1);
    EXPECT_EQ(events, (Events{"readable@0"}));
    EXPECT_EQ(machine->consoleLines(), (Events{"Uncaught exception: Name - reason"}));
}

TEST_F(NSRunLoopTest, APaneFullOfWaitersSleepsInsteadOfPolling) {
    Machine::install(nullptr);
    rusage before{}, after{};
    getrusage(RUSAGE_SELF, &before);
    loop.runUntil([] { return false; }, std::chrono::steady_clock::now() + 300ms);
    getrusage(RUSAGE_SELF, &after);
    Machine::install(machine);
    EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 5);
}

using NSOperationQueueTest = MachineTest;

TEST_F(NSOperationQueueTest, WhatIsAddedRunsInOrderNeverTwoAtOnceWhoeverDrains) {
    NSOperationQueue queue;
    std::vector<int> order;
    std::atomic<int> inside{0}, overlaps{0};
    for (int number = 0; number < 20000; ++number) {
        queue.addOperation([&, number] {
            overlaps += ++inside > 1;
            order.push_back(number);
            if (number % 1000 == 0) {
                queue.waitUntilAllOperationsAreFinished(); // must not wait for itself
            }
            --inside;
        });
        if (number % 4999 == 0) {
            NSThread::detachNewThread([&] { queue.waitUntilAllOperationsAreFinished(); });
        }
    }
    queue.waitUntilAllOperationsAreFinished();
    EXPECT_EQ(order.size(), 20000U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_EQ(overlaps, 0);
    EXPECT_TRUE(NSThread::waitForAll(10));
}

TEST_F(NSOperationQueueTest, TimeStandsStillWhileWorkWaitsAndDrainAllFindsEveryQueue) {
    NSOperationQueue one, other;
    // Sometimes the queue's own thread runs the first operation, sometimes the one that drains.
    for (int round = 0; round < 50; ++round) {
        double seen = -1;
        one.addOperation([&] { NSThread::sleepForTimeInterval(3); });
        other.addOperation([&] { seen = clock->seconds(); });
        NSOperationQueue::drainAll();
        EXPECT_EQ(clock->seconds(), 3 * round + 3);
        EXPECT_GE(seen, 3 * round);
    }
}

} // namespace
