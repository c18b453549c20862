#include "System/Clock.h"

#include "System/RealClock.h"

#include <atomic>

namespace {

std::atomic<Clock*> installed = nullptr;

} // namespace

Clock& Clock::current() {
    static auto& real = *new RealClock; // never destroyed: the program's last lines need it
    Clock* const clock = installed;
    return clock != nullptr ? *clock : real;
}

void Clock::install(Clock* clock) { installed = clock; }

timespec Clock::timeLeft(Time deadline) const {
    // Compared first: the difference to a deadline at the beginning of time is not representable.
    const auto time = now();
    const auto left = deadline > time ? deadline - time : Duration::zero();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    return {seconds.count(), (left - seconds).count()};
}

void Clock::sleepUntil(Time time) {
    Parking parking;
    while (now() < time) {
        park(parking, time);
    }
}

Clock::Duration durationOfSeconds(double seconds) {
    return std::chrono::duration_cast<Clock::Duration>(std::chrono::duration<double>(seconds));
}
