// A condition variable that waits by the machine's clock.
#pragma once

#include "System/Clock.h"

#include <functional>
#include <mutex>

/// The state that `ready` reads is guarded by the mutex that the waiting thread hands over locked,
/// as with the standard one.
class Condition {
public:
    /// Returns what `ready` said last: false only when the deadline has passed.
    bool wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready,
              Clock::Deadline deadline = std::nullopt);
    void notifyAll();

private:
    std::mutex mutex;
    Parking* parked = nullptr; // the last that came; a list, since no wait may need memory
};
