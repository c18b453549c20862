#include "support/VirtualClock.h"

#include <algorithm>
#include <sys/eventfd.h>

Clock::Time VirtualClock::now() const {
    std::lock_guard lock(mutex);
    return time;
}

double VirtualClock::seconds() const {
    return std::chrono::duration<double>(now() - start).count();
}

std::chrono::system_clock::time_point VirtualClock::date() const {
    // 16 November 2026, 20:45:07 UTC, and what has passed since.
    constexpr std::chrono::system_clock::time_point epoch{std::chrono::seconds(1794861907)};
    return epoch + std::chrono::duration_cast<std::chrono::system_clock::duration>(now() - start);
}

void VirtualClock::park(Parking& parking, Deadline deadline) {
    std::unique_lock lock(mutex);
    if (!parking.unparked && (!deadline || *deadline > time)) {
        parked.push_back({&parking, deadline});
        --busyThreads;
        jumpIfAllSleep();
        parking.wake.wait(lock, [&] { return parking.unparked; });
    }
    parking.unparked = false;
}

void VirtualClock::unpark(Parking& parking) {
    std::lock_guard lock(mutex);
    const auto entry = entryOf(parking);
    if (entry != parked.end()) {
        wake(entry);
        return;
    }
    parking.unparked = true;
    if (parking.wakeDescriptor >= 0) {
        eventfd_write(parking.wakeDescriptor, 1);
    }
}

void VirtualClock::parkInPoll(Parking& parking, Deadline deadline,
                              const std::function<bool(Deadline)>& poll) {
    if (poll(Time::min())) {
        return; // something waits: no time may pass
    }
    {
        std::lock_guard lock(mutex);
        if (!parking.unparked && (!deadline || *deadline > time)) {
            parked.push_back({&parking, deadline});
            --busyThreads;
            jumpIfAllSleep();
        } else {
            deadline = Time::min(); // look, but do not wait
        }
        parking.unparked = false;
    }
    poll(deadline == Time::min() ? deadline : std::nullopt);
    std::lock_guard lock(mutex);
    const auto entry = entryOf(parking);
    if (entry != parked.end()) { // something else than this clock ended the wait
        parked.erase(entry);
        ++busyThreads;
    }
    parking.unparked = false;
}

void VirtualClock::threadStarts() {
    std::lock_guard lock(mutex);
    ++busyThreads;
}

void VirtualClock::threadEnds() {
    std::lock_guard lock(mutex);
    --busyThreads;
    jumpIfAllSleep();
}

void VirtualClock::outsideWorkBegins() {
    std::lock_guard lock(mutex);
    outsideWork += toolsCountAsIdle ? 0 : 1;
}

void VirtualClock::outsideWorkEnds() {
    std::lock_guard lock(mutex);
    outsideWork -= outsideWork > 0 ? 1 : 0;
    jumpIfAllSleep();
}

std::list<VirtualClock::Parked>::iterator VirtualClock::entryOf(const Parking& parking) {
    return std::ranges::find(parked, &parking, &Parked::parking);
}

void VirtualClock::wake(std::list<Parked>::iterator entry) {
    Parking& parking = *entry->parking;
    parked.erase(entry);
    ++busyThreads;
    parking.unparked = true;
    parking.wake.notify_one();
    if (parking.wakeDescriptor >= 0) {
        eventfd_write(parking.wakeDescriptor, 1);
    }
}

void VirtualClock::jumpIfAllSleep() {
    if (busyThreads > 0 || outsideWork > 0) {
        return;
    }
    // The first of those that are due next: one at a time, in the order in which they went to
    // sleep.
    const auto next = std::ranges::min_element(
        parked, {}, [](const Parked& each) { return each.deadline.value_or(Time::max()); });
    if (next != parked.end() && next->deadline) {
        time = std::max(time, *next->deadline);
        wake(next);
    }
}
