#include "Foundation/NSRunLoop.h"

#include "Foundation/Machine.h"
#include "Foundation/NSException.h"
#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

void watch(int epollDescriptor, int operation, int descriptor, std::uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    if (epoll_ctl(epollDescriptor, operation, descriptor, &event) != 0) {
        throw NSException(
            NSInvalidArgumentException,
            stringWithFormat("Cannot watch descriptor %d: %@", descriptor, std::strerror(errno)));
    }
}

void drain(int descriptor) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto bytes = read(descriptor, &count, sizeof count);
}

} // namespace

NSRunLoop& NSRunLoop::mainRunLoop() {
    // Never destroyed: threads that outlive the program's main function may still reach for it.
    static auto* loop = new NSRunLoop;
    return *loop;
}

NSRunLoop::NSRunLoop()
    : mainThread(std::this_thread::get_id()), epollDescriptor(epoll_create1(EPOLL_CLOEXEC)),
      wakeDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      timerDescriptor(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)),
      parking(wakeDescriptor) {
    watch(epollDescriptor, EPOLL_CTL_ADD, wakeDescriptor, EPOLLIN);
    watch(epollDescriptor, EPOLL_CTL_ADD, timerDescriptor, EPOLLIN);
}

NSRunLoop::~NSRunLoop() {
    close(timerDescriptor);
    close(wakeDescriptor);
    close(epollDescriptor);
}

bool NSRunLoop::isCurrentThread() const { return std::this_thread::get_id() == mainThread; }

void NSRunLoop::performBlock(std::function<void()> work) {
    {
        std::lock_guard lock(mutex);
        performed.push_back(std::move(work));
    }
    wakeUp();
}

void NSRunLoop::wakeUp() { Machine::current().clock().unpark(parking); }

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
        pollDescriptors(timer && deadline ? std::min(*timer, *deadline) : timer ? timer : deadline);
        runPerformed();
        runTimers();
    }
    return true;
}

void NSRunLoop::runReady() {
    pollDescriptors(Clock::Time::min());
    runPerformed();
    runTimers();
}

Clock::Deadline NSRunLoop::nextTimer() const {
    if (timers.empty() || mode != NSRunLoopMode::defaultMode) {
        return std::nullopt;
    }
    return timers.begin()->time;
}

void NSRunLoop::addDescriptor(int descriptor, std::uint32_t events, DescriptorHandler handler) {
    watch(epollDescriptor, EPOLL_CTL_ADD, descriptor, events);
    handlers[descriptor] = std::make_shared<DescriptorHandler>(std::move(handler));
}

void NSRunLoop::changeDescriptor(int descriptor, std::uint32_t events) {
    watch(epollDescriptor, EPOLL_CTL_MOD, descriptor, events);
}

void NSRunLoop::removeDescriptor(int descriptor) {
    if (handlers.erase(descriptor) != 0) {
        epoll_ctl(epollDescriptor, EPOLL_CTL_DEL, descriptor, nullptr);
    }
}

void NSRunLoop::addTimer(std::shared_ptr<NSTimer> timer, Clock::Time time) {
    timer->place = time;
    timer->order = nextOrder++;
    timers.insert({time, timer->order, std::move(timer)});
    armTimerDescriptor();
}

void NSRunLoop::removeTimer(const NSTimer& timer) {
    timers.erase({timer.place, timer.order, nullptr});
    armTimerDescriptor();
}

/// Keeps the descriptor that another loop watches in step with the first timer of the mode.
void NSRunLoop::armTimerDescriptor() {
    const auto next = nextTimer();
    if (next == armedFor) {
        return;
    }
    armedFor = next;
    itimerspec alarm{};
    if (next) {
        const auto nanoseconds = std::max<std::int64_t>(next->time_since_epoch().count(), 1);
        alarm.it_value.tv_sec = nanoseconds / 1'000'000'000;
        alarm.it_value.tv_nsec = nanoseconds % 1'000'000'000;
    }
    timerfd_settime(timerDescriptor, TFD_TIMER_ABSTIME, &alarm, nullptr);
}

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
    armTimerDescriptor();
}

void NSRunLoop::pollDescriptors(Clock::Deadline deadline) {
    std::array<epoll_event, 32> events{};
    int count = 0;
    const auto poll = [&](Clock::Deadline limit) {
        timespec wait{};
        if (limit) {
            const auto left = std::max(*limit, Machine::current().clock().now()) -
                              Machine::current().clock().now();
            wait.tv_sec = left / std::chrono::seconds(1);
            wait.tv_nsec = (left % std::chrono::seconds(1)).count();
        }
        count = epoll_pwait2(epollDescriptor, events.data(), events.size(), limit ? &wait : nullptr,
                             nullptr);
        return count > 0;
    };
    if (deadline == Clock::Time::min()) {
        poll(deadline);
    } else {
        // A wait without timers of this mode must not be ended by the timers of another one.
        armTimerDescriptor();
        Machine::current().clock().parkInPoll(parking, deadline, poll);
    }
    for (int index = 0; index < count; ++index) {
        const auto& event = events[static_cast<std::size_t>(index)];
        if (event.data.fd == wakeDescriptor || event.data.fd == timerDescriptor) {
            drain(event.data.fd);
            if (event.data.fd == timerDescriptor) {
                armedFor.reset(); // it rings once
            }
            continue;
        }
        const auto found = handlers.find(event.data.fd);
        if (found != handlers.end()) {
            const auto keep = found->second;
            reportExceptions([&] { (*keep)(event.events); });
        }
    }
}

void NSRunLoop::setMode(NSRunLoopMode newMode) {
    mode = newMode;
    armTimerDescriptor();
}

NSRunLoopModeScope::NSRunLoopModeScope(NSRunLoopMode mode)
    : before(NSRunLoop::mainRunLoop().currentMode()) {
    NSRunLoop::mainRunLoop().setMode(mode);
}

NSRunLoopModeScope::~NSRunLoopModeScope() { NSRunLoop::mainRunLoop().setMode(before); }
