// The one source of time. Code above and in this layer sleeps, waits and asks for the time only
// here, so that a test can put its own clock underneath and let a long wait pass at once.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// One thread's wait. A thread parks itself on a Parking and another one unparks it; an unpark that
/// comes first makes the park return at once.
class Parking {
public:
    Parking() = default;
    /// A parking whose thread waits in a poll of its own: an unpark writes to this eventfd.
    explicit Parking(int wakeDescriptor) : wakeDescriptor(wakeDescriptor) {}
    Parking(const Parking&) = delete;
    Parking& operator=(const Parking&) = delete;

    std::mutex mutex;
    std::condition_variable wake;
    bool unparked = false;
    const int wakeDescriptor = -1;
};

class Clock {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Duration = std::chrono::nanoseconds;
    /// No value: wait for as long as it takes.
    using Deadline = std::optional<Time>;

    virtual ~Clock() = default;

    /// Time since an arbitrary start; never goes back.
    virtual Time now() const = 0;
    /// The date on the wall.
    virtual std::chrono::system_clock::time_point date() const = 0;

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

/// The machine's clock.
class RealClock : public Clock {
public:
    Time now() const override;
    std::chrono::system_clock::time_point date() const override;
    void park(Parking& parking, Deadline deadline) override;
    void unpark(Parking& parking) override;
    void parkInPoll(Parking& parking, Deadline deadline,
                    const std::function<bool(Deadline)>& poll) override;
};

/// A condition variable that waits by the machine's clock. The state that `ready` reads is guarded
/// by the mutex that the waiting thread hands over locked, as with the standard one.
class Condition {
public:
    /// Returns what `ready` said last: false only when the deadline has passed.
    bool wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready,
              Clock::Deadline deadline = std::nullopt);
    void notifyAll();

private:
    std::mutex mutex;
    std::vector<Parking*> parked;
};

/// Seconds, as the platform's interfaces give intervals, in the clock's unit.
Clock::Duration durationOfSeconds(double seconds);
