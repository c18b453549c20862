#include "System/RealClock.h"

#include <sys/eventfd.h>

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
