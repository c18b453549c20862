#include "System/DescriptorWait.h"

#include "System/OutsideWork.h"

DescriptorWait::DescriptorWait()
    : mainLoop(MainLoop::ofThisThread()), set(mainLoop ? mainLoop->pollSet() : own.emplace()) {}

DescriptorWait::~DescriptorWait() {
    for (const int descriptor : watched) {
        set.remove(descriptor);
    }
}

void DescriptorWait::add(int descriptor, std::function<void()> ready) {
    set.add(descriptor, PollSet::readable, [ready = std::move(ready)](std::uint32_t) { ready(); });
    watched.push_back(descriptor);
}

void DescriptorWait::remove(int descriptor) {
    if (std::erase(watched, descriptor) > 0) {
        set.remove(descriptor);
    }
}

bool DescriptorWait::wait(const std::function<bool()>& done, Clock::Deadline deadline) {
    if (done()) {
        return true;
    }
    Clock& clock = Clock::current();
    const OutsideWork outsideWork(clock);
    if (mainLoop) {
        return mainLoop->serveUntil(done, deadline);
    }
    while (!done()) {
        if (deadline && clock.now() >= *deadline) {
            return false;
        }
        set.wait(deadline);
    }
    return true;
}
