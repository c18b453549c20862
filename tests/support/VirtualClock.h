// Time that a test owns. It stands still while any thread of ours has something to do, and jumps to
// the next deadline when all of them sleep, so that a wait of 18 seconds takes none and every run
// is the same.
#pragma once

#include "System/Clock.h"

#include <atomic>
#include <list>

class VirtualClock : public Clock {
public:
    /// The thread that makes the clock counts as one of ours: the test's main thread.
    VirtualClock() = default;

    Time now() const override;
    std::chrono::system_clock::time_point date() const override;
    void park(Parking& parking, Deadline deadline) override;
    void unpark(Parking& parking) override;
    void parkInPoll(Parking& parking, Deadline deadline,
                    const std::function<bool(Deadline)>& poll) override;
    void threadStarts() override;
    void threadEnds() override;
    void outsideWorkBegins() override;
    void outsideWorkEnds() override;

    /// Seconds since the clock was made.
    double seconds() const;
    /// Whether a wait for a real program lets time pass: for programs that would hang.
    std::atomic<bool> toolsCountAsIdle{false};

private:
    struct Parked {
        Parking* parking;
        Deadline deadline;
    };

    std::list<Parked>::iterator entryOf(const Parking& parking);
    void wake(std::list<Parked>::iterator entry);
    void jumpIfAllSleep();

    // Later than any machine has been up, so that no real timer set by this clock ever rings.
    static constexpr Time start{std::chrono::hours(1'000'000)};
    mutable std::mutex mutex;
    std::list<Parked> parked;
    Time time = start;
    int busyThreads = 1;
    int outsideWork = 0;
};
