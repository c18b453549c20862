#include "System/Condition.h"

bool Condition::wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready,
                     Clock::Deadline deadline) {
    Clock& clock = Clock::current();
    while (!ready()) {
        if (deadline && clock.now() >= *deadline) {
            return false;
        }
        Parking parking;
        {
            std::lock_guard guard(mutex);
            parked.push_back(&parking);
        }
        lock.unlock();
        clock.park(parking, deadline);
        {
            std::lock_guard guard(mutex);
            std::erase(parked, &parking);
        }
        lock.lock();
    }
    return true;
}

void Condition::notifyAll() {
    std::lock_guard guard(mutex);
    for (Parking* parking : parked) {
        Clock::current().unpark(*parking);
    }
}
