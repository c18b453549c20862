// One thread's wait, by whatever clock it waits.
#pragma once

#include <condition_variable>
#include <mutex>

/// A thread parks itself on a Parking and another one unparks it; an unpark that comes first makes
/// the park return at once.
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
    Parking* next = nullptr; // of those that wait for the same condition
};
