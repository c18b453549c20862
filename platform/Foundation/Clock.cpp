#include "Foundation/Clock.h"

#include "Foundation/Machine.h"

#include <algorithm>
#include <sys/eventfd.h>

void Clock::sleepUntil(Time time) {
    Parking parking;
    while (now() < time) {
        park(parking, time);
    }
}

Clock::Time RealClock::now() const { return std::chrono::steady_clock::now(); }

std::chrono::system_clock::time_point RealClock::date() const {
    return std::chrono::system_clock::now();
}

void RealClock::park(Parking& parking, Deadline deadline) {
    std::unique_lock lock(parking.mutex);
    const auto unparked = [&] { return parking.unparked; };
    if (deadline) {
        parking.wake.wait_until(lock, *deadline, unparked);
    } else {
        parking.wake.wait(lock, unparked);
    }
    parking.unparked = false;
}

void RealClock::unpark(Parking& parking) {
    if (parking.wakeDescriptor >= 0) {
        eventfd_write(parking.wakeDescriptor, 1);
        return;
    }
    // Notified under the lock: the parked thread may destroy the parking as soon as it can take it.
    std::lock_guard lock(parking.mutex);
    parking.unparked = true;
    parking.wake.notify_one();
}

void RealClock::parkInPoll(Parking&, Deadline deadline, const std::function<bool(Deadline)>& poll) {
    poll(deadline);
}

bool Condition::wait(std::unique_lock<std::mutex>& lock, const std::function<bool()>& ready,
                     Clock::Deadline deadline) {
    Clock& clock = Machine::current().clock();
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
        Machine::current().clock().unpark(*parking);
    }
}

Clock::Duration durationOfSeconds(double seconds) {
    return std::chrono::duration_cast<Clock::Duration>(std::chrono::duration<double>(seconds));
}
