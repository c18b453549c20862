#include "System/PollSet.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <system_error>

namespace {

FileDescriptor required(int descriptor, const char* doing) {
    if (descriptor < 0) {
        throw std::system_error(errno, std::generic_category(), doing);
    }
    return FileDescriptor(descriptor);
}

/// In milliseconds where the system does not know or allow the finer call.
int waitForEvents(int set, std::span<epoll_event> events, const timespec* left) {
    const auto most = static_cast<int>(events.size());
    const int count = epoll_pwait2(set, events.data(), most, left, nullptr);
    if (count >= 0 || (errno != ENOSYS && errno != EPERM)) {
        return count;
    }
    constexpr long second = 1000, nanoseconds = 1'000'000, longest = 1'000'000;
    const long time = left == nullptr ? -1
                                      : std::min(left->tv_sec, longest) * second +
                                            (left->tv_nsec + nanoseconds - 1) / nanoseconds;
    return epoll_pwait(set, events.data(), most, static_cast<int>(time), nullptr);
}

void drain(int descriptor) {
    std::uint64_t count = 0;
    [[maybe_unused]] const auto bytes = read(descriptor, &count, sizeof count);
}

} // namespace

const std::uint32_t PollSet::readable = EPOLLIN;

PollSet::PollSet()
    : set(required(epoll_create1(EPOLL_CLOEXEC), "Cannot wait for anything")),
      wakeDescriptor(
          required(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "Cannot wait for other threads")),
      parking(wakeDescriptor.get()) {
    watch(EPOLL_CTL_ADD, wakeDescriptor.get(), EPOLLIN);
}

void PollSet::watch(int operation, int descriptor, std::uint32_t events) const {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    if (epoll_ctl(set.get(), operation, descriptor, &event) != 0) {
        throw std::system_error(errno, std::generic_category(),
                                "Cannot wait for descriptor " + std::to_string(descriptor));
    }
}

void PollSet::add(int descriptor, std::uint32_t events, Handler handler) {
    watch(EPOLL_CTL_ADD, descriptor, events);
    handlers[descriptor] = std::make_shared<const Handler>(std::move(handler));
}

void PollSet::change(int descriptor, std::uint32_t events) {
    watch(EPOLL_CTL_MOD, descriptor, events);
}

void PollSet::remove(int descriptor) {
    if (handlers.erase(descriptor) != 0) {
        epoll_ctl(set.get(), EPOLL_CTL_DEL, descriptor, nullptr);
    }
}

void PollSet::wait(Clock::Deadline deadline) {
    Clock& clock = Clock::current();
    std::array<epoll_event, 32> events{};
    int count = 0;
    const auto poll = [&](Clock::Deadline limit) {
        const auto left = limit ? clock.timeLeft(*limit) : timespec{};
        count = waitForEvents(set.get(), events, limit ? &left : nullptr);
        return count > 0;
    };
    if (deadline == Clock::Time::min()) {
        poll(deadline);
    } else {
        clock.parkInPoll(parking, deadline, poll);
    }
    for (std::size_t index = 0; static_cast<int>(index) < count; ++index) {
        serve(events[index].data.fd, events[index].events);
    }
}

void PollSet::serve(int descriptor, std::uint32_t events) {
    if (descriptor == wakeDescriptor.get()) {
        drain(descriptor);
    } else if (descriptor == alarm.get()) {
        drain(descriptor);
        alarmTime.reset(); // it rings once
    } else if (const auto found = handlers.find(descriptor); found != handlers.end()) {
        const auto handler = found->second; // which may remove itself
        (*handler)(events);
    }
}

void PollSet::wakeUp() { Clock::current().unpark(parking); }

void PollSet::setAlarm(Clock::Deadline time) {
    if (time == alarmTime) {
        return;
    }
    if (!alarm) {
        alarm = required(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK),
                         "Cannot wait for a time");
        watch(EPOLL_CTL_ADD, alarm.get(), EPOLLIN);
    }
    alarmTime = time;
    itimerspec setting{};
    if (time) {
        const auto nanoseconds = std::max<std::int64_t>(time->time_since_epoch().count(), 1);
        setting.it_value.tv_sec = nanoseconds / 1'000'000'000;
        setting.it_value.tv_nsec = nanoseconds % 1'000'000'000;
    }
    timerfd_settime(alarm.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}
