// The one source of time. Whoever sleeps, waits or asks for the time does it here, so that a test
// can put its own clock underneath and let a long wait pass at once.
#pragma once

#include "System/Parking.h"

#include <chrono>
#include <ctime>
#include <functional>
#include <optional>

class Clock {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;
    /// No value: wait for as long as it takes.
    using Deadline = std::optional<Time>;

    virtual ~Clock() = default;

    /// The clock in force: that of the machine that is installed, else the machine's own.
    static Clock& current();
    /// Puts another clock in force, or the machine's own again for none. Before other threads
    /// start.
    static void install(Clock* clock);

    /// Time since an arbitrary start; never goes back.
    virtual Time now() const = 0;
    /// The date on the wall.
    virtual std::chrono::system_clock::time_point date() const = 0;
    /// How long it is until then, nothing for what has passed.
    timespec timeLeft(Time deadline) const;

    /// Blocks the calling thread until it is unparked or the deadline has come. Any thread.
    virtual void park(Parking& parking, Deadline deadline) = 0;
    /// Ends the park of another thread; may come before it. Any thread.
    virtual void unpark(Parking& parking) = 0;
    /// Runs `poll`, which blocks until `parking`'s descriptor is readable or something else that it
    /// watches happens. `poll` is given the deadline that it has to keep itself, if any.
    virtual void parkInPoll(Parking& parking, Deadline deadline,
                            const std::function<bool(Deadline)>& poll) = 0;

    /// Told by the thread that starts another one, before it runs, and by that one as it ends.
    virtual void threadStarts() {}
    virtual void threadEnds() {}
    /// Brackets a wait for something that this clock does not rule, a real process for example.
    virtual void outsideWorkBegins() {}
    virtual void outsideWorkEnds() {}

    void sleepUntil(Time time);
    void sleepFor(Duration duration) { sleepUntil(now() + duration); }
};

/// Seconds, as the platform's interfaces give intervals, in the clock's unit.
Clock::Duration durationOfSeconds(double seconds);
