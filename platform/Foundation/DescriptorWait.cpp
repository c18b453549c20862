#include "Foundation/DescriptorWait.h"

#include "Foundation/Machine.h"
#include "Foundation/NSRunLoop.h"

#include <algorithm>
#include <sys/epoll.h>
#include <sys/eventfd.h>

namespace {

/// Tells the clock that what is waited for is not of its making.
class OutsideWork {
public:
    OutsideWork() : clock(Machine::current().clock()) { clock.outsideWorkBegins(); }
    ~OutsideWork() { clock.outsideWorkEnds(); }
    OutsideWork(const OutsideWork&) = delete;
    OutsideWork& operator=(const OutsideWork&) = delete;

private:
    Clock& clock;
};

timespec timeLeft(Clock::Time deadline) {
    // Compared first: the difference to a deadline at the beginning of time is not representable.
    const auto now = Machine::current().clock().now();
    const auto left = deadline > now ? deadline - now : Clock::Duration::zero();
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(left);
    return {seconds.count(), (left - seconds).count()};
}

} // namespace

DescriptorWait::DescriptorWait()
    : onMainThread(NSRunLoop::mainRunLoop().isCurrentThread()),
      wakeDescriptor(onMainThread ? -1 : eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      parking(wakeDescriptor.get()) {}

DescriptorWait::~DescriptorWait() {
    while (!watched.empty()) {
        remove(watched.back().descriptor);
    }
}

void DescriptorWait::add(int descriptor, std::function<void()> ready) {
    if (onMainThread) {
        NSRunLoop::mainRunLoop().addDescriptor(descriptor, EPOLLIN,
                                               [ready](std::uint32_t) { ready(); });
    }
    watched.push_back({descriptor, std::move(ready)});
}

void DescriptorWait::remove(int descriptor) {
    const auto removed = std::erase_if(
        watched, [descriptor](const Watched& each) { return each.descriptor == descriptor; });
    if (removed > 0 && onMainThread) {
        NSRunLoop::mainRunLoop().removeDescriptor(descriptor);
    }
}

bool DescriptorWait::wait(const std::function<bool()>& done, Clock::Deadline deadline) {
    if (done()) {
        return true;
    }
    const OutsideWork outsideWork;
    if (onMainThread) {
        auto& loop = NSRunLoop::mainRunLoop();
        return loop.runUntil(done, deadline, loop.currentMode());
    }
    while (!done()) {
        if (deadline && Machine::current().clock().now() >= *deadline) {
            return false;
        }
        pollOnce(deadline);
    }
    return true;
}

void DescriptorWait::pollOnce(Clock::Deadline deadline) {
    std::vector<pollfd> polled{{wakeDescriptor.get(), POLLIN, 0}};
    for (const auto& each : watched) {
        polled.push_back({each.descriptor, POLLIN, 0});
    }
    Machine::current().clock().parkInPoll(parking, deadline, [&](Clock::Deadline limit) {
        const auto left = limit ? timeLeft(*limit) : timespec{};
        return ppoll(polled.data(), polled.size(), limit ? &left : nullptr, nullptr) > 0;
    });
    if (polled.front().revents != 0) {
        eventfd_t count = 0;
        eventfd_read(wakeDescriptor.get(), &count);
    }
    for (std::size_t index = 1; index < polled.size(); ++index) {
        const auto found = std::find_if(watched.begin(), watched.end(), [&](const Watched& each) {
            return each.descriptor == polled[index].fd;
        });
        if (polled[index].revents != 0 && found != watched.end()) {
            const auto ready = found->ready; // which may remove itself
            ready();
        }
    }
}

void DescriptorWait::wakeUp() {
    if (onMainThread) {
        NSRunLoop::mainRunLoop().wakeUp();
    } else {
        Machine::current().clock().unpark(parking);
    }
}
