#include "Foundation/NSRunLoop.h"

#include "Foundation/NSException.h"
#include "System/Machine.h"

#include <algorithm>

NSRunLoop& NSRunLoop::mainRunLoop() {
    // Never destroyed: threads that outlive the program's main function may still reach for it.
    static auto* loop = new NSRunLoop;
    return *loop;
}

void NSRunLoop::performBlock(std::function<void()> work) {
    {
        std::lock_guard lock(mutex);
        performed.push_back(std::move(work));
    }
    wakeUp();
}

bool NSRunLoop::runUntil(const std::function<bool()>& done, Clock::Deadline deadline,
                         NSRunLoopMode newMode) {
    const NSRunLoopModeScope scope(newMode);
    const Clock& clock = Machine::current().clock();
    runReady();
    while (!done()) {
        if (deadline && clock.now() >= *deadline) {
            return false;
        }
        const auto timer = nextTimer();
        // A wait without timers of this mode must not be ended by the timers of another one.
        setAlarm();
        pollSet().wait(timer && deadline ? std::min(*timer, *deadline) : timer ? timer : deadline);
        runPerformed();
        runTimers();
    }
    return true;
}

void NSRunLoop::runReady() {
    pollSet().wait(Clock::Time::min());
    runPerformed();
    runTimers();
}

Clock::Deadline NSRunLoop::nextTimer() const {
    if (timers.empty() || mode != NSRunLoopMode::defaultMode) {
        return std::nullopt;
    }
    return timers.begin()->time;
}

void NSRunLoop::addDescriptor(int descriptor, std::uint32_t events, PollSet::Handler handler) {
    pollSet().add(descriptor, events, [handler = std::move(handler)](std::uint32_t present) {
        reportExceptions([&] { handler(present); });
    });
}

void NSRunLoop::changeDescriptor(int descriptor, std::uint32_t events) {
    pollSet().change(descriptor, events);
}

void NSRunLoop::addTimer(std::shared_ptr<NSTimer> timer, Clock::Time time) {
    timer->place = time;
    timer->order = nextOrder++;
    timers.insert({time, timer->order, std::move(timer)});
    setAlarm();
}

void NSRunLoop::removeTimer(const NSTimer& timer) {
    timers.erase({timer.place, timer.order, nullptr});
    setAlarm();
}

/// Keeps the descriptor that another loop watches in step with the first timer of the mode.
void NSRunLoop::setAlarm() { pollSet().setAlarm(nextTimer()); }

/// Runs what was waiting at the call; what that adds comes next time, so that timers and
/// descriptors have their turn.
void NSRunLoop::runPerformed() {
    std::size_t waiting = 0;
    {
        std::lock_guard lock(mutex);
        waiting = performed.size();
    }
    for (; waiting > 0; --waiting) {
        std::function<void()> work;
        {
            std::lock_guard lock(mutex);
            if (performed.empty()) {
                return; // a nested run took the rest
            }
            work = std::move(performed.front());
            performed.pop_front();
        }
        reportExceptions(work);
    }
}

void NSRunLoop::runTimers() {
    const auto now = Machine::current().clock().now();
    while (mode == NSRunLoopMode::defaultMode && !timers.empty() && timers.begin()->time <= now) {
        const auto due = *timers.begin();
        timers.erase(timers.begin());
        due.timer->fireNow(due.time);
    }
    setAlarm();
}

void NSRunLoop::setMode(NSRunLoopMode newMode) {
    mode = newMode;
    setAlarm();
}

NSRunLoopModeScope::NSRunLoopModeScope(NSRunLoopMode mode)
    : before(NSRunLoop::mainRunLoop().currentMode()) {
    NSRunLoop::mainRunLoop().setMode(mode);
}

NSRunLoopModeScope::~NSRunLoopModeScope() { NSRunLoop::mainRunLoop().setMode(before); }
