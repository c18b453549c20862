#include "System/Condition.h"

#include <utility>

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
            parking.next = std::exchange(parked, &parking);
        }
        lock.unlock();
        clock.park(parking, deadline);
        {
            std::lock_guard guard(mutex);
            Parking** place = &parked;
            while (*place != &parking) {
                place = &(*place)->next;
            }
            *place = parking.next;
        }
        lock.lock();
    }
    return true;
}

void Condition::notifyAll() {
    std::lock_guard guard(mutex);
    for (Parking* parking = parked; parking != nullptr; parking = parking->next) {
        Clock::current().unpark(*parking);
    }
}
