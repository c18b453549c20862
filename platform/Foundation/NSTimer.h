// A timer of the main run loop's default mode. Main thread only.
#pragma once

#include "System/Clock.h"

#include <cstdint>
#include <functional>
#include <memory>

class NSTimer : public std::enable_shared_from_this<NSTimer> {
public:
    /// Schedules a timer that calls `fire` after `seconds`, and every `seconds` from then on if it
    /// repeats. The target is held weakly: once it is gone the timer is invalid. Two timers due at
    /// one moment fire in the order in which they were scheduled; a repeating one takes its next
    /// place before `fire` runs, and places missed by a busy loop are skipped.
    static std::shared_ptr<NSTimer> scheduledTimer(double seconds, std::weak_ptr<void> target,
                                                   std::function<void()> fire, bool repeats);

    /// Never fires again. Harmless on an invalid timer.
    void invalidate();

private:
    friend class NSRunLoop;

    NSTimer(Clock::Duration interval, std::weak_ptr<void> target, std::function<void()> fire,
            bool repeats);
    void fireNow(Clock::Time due);

    const Clock::Duration interval;
    const std::weak_ptr<void> target;
    std::function<void()> action;
    const bool repeats;
    bool valid = true;
    Clock::Time place;       // where it stands in the loop's order
    std::uint64_t order = 0; // and among timers of the same moment
};
