#include "Foundation/NSTimer.h"

#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "System/Machine.h"

#include <algorithm>

NSTimer::NSTimer(Clock::Duration interval, std::weak_ptr<void> target, std::function<void()> fire,
                 bool repeats)
    : interval(interval), target(std::move(target)), action(std::move(fire)), repeats(repeats) {}

std::shared_ptr<NSTimer> NSTimer::scheduledTimer(double seconds, std::weak_ptr<void> target,
                                                 std::function<void()> fire, bool repeats) {
    // The platform's least interval, so that a repeating timer cannot fill the loop.
    const auto interval = durationOfSeconds(std::max(seconds, 0.0001));
    auto timer = std::shared_ptr<NSTimer>(
        new NSTimer(interval, std::move(target), std::move(fire), repeats));
    NSRunLoop::mainRunLoop().addTimer(timer, Machine::current().clock().now() + interval);
    return timer;
}

void NSTimer::invalidate() {
    if (valid) {
        valid = false;
        NSRunLoop::mainRunLoop().removeTimer(*this);
    }
}

void NSTimer::fireNow(Clock::Time due) {
    const auto keep = shared_from_this();
    const auto held = target.lock();
    if (!held) {
        invalidate();
        return;
    }
    if (repeats) {
        const auto missed = (Machine::current().clock().now() - due) / interval;
        NSRunLoop::mainRunLoop().addTimer(keep, due + (missed + 1) * interval);
    } else {
        valid = false;
    }
    reportExceptions(action);
}
