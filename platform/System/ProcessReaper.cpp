#include "System/ProcessReaper.h"

#include "System/DetachedThread.h"
#include "System/ProcessDescriptor.h"

#include <exception>
#include <sys/epoll.h>
#include <sys/wait.h>

namespace {

/// So many children have their descriptors kept open.
constexpr std::size_t mostWatched = 64;

} // namespace

ProcessReaper& ProcessReaper::shared() {
    // Never destroyed: its thread sleeps until the program ends.
    static auto* reaper = new ProcessReaper;
    return *reaper;
}

ProcessReaper::ProcessReaper() { begin(); }

void ProcessReaper::adopt(pid_t process, FileDescriptor child) {
    const std::lock_guard lock(mutex);
    if (!children) {
        begin();
    }
    watchUnwatched();
    if (!watch(child)) {
        unwatched.push_back(process);
    }
}

/// What cannot be had now is tried again with the next child that is adopted.
void ProcessReaper::begin() {
    children.reset(epoll_create1(EPOLL_CLOEXEC));
    if (!children) {
        return;
    }
    try {
        startDetachedThread([this] { work(); });
    } catch (const std::exception&) {
        children.reset();
    }
}

bool ProcessReaper::watch(FileDescriptor& child) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = child.get();
    if (watched == mostWatched ||
        epoll_ctl(children.get(), EPOLL_CTL_ADD, child.get(), &event) != 0) {
        return false;
    }
    child.release();
    ++watched;
    return true;
}

/// Lets those that wait for a place take what has become free. None of their numbers can be another
/// process's: the kernel keeps it for the parent.
void ProcessReaper::watchUnwatched() {
    while (!unwatched.empty() && watched < mostWatched) {
        const auto process = unwatched.front();
        if (waitpid(process, nullptr, WNOHANG) == 0) {
            FileDescriptor child = descriptorOfProcess(process);
            if (!child || !watch(child)) {
                return;
            }
        }
        unwatched.erase(unwatched.begin());
    }
}

void ProcessReaper::takeNoteOfEnd(int number) {
    const FileDescriptor child(number);
    // Closing is not enough: a program that is just being started holds a copy, the set would go on
    // telling of it, and the number may be another descriptor's by then.
    epoll_ctl(children.get(), EPOLL_CTL_DEL, number, nullptr);
    siginfo_t information{};
    waitid(P_PIDFD, static_cast<id_t>(number), &information, WEXITED | WNOHANG);
    const std::lock_guard lock(mutex);
    --watched;
    watchUnwatched();
}

void ProcessReaper::work() {
    for (;;) {
        epoll_event event{};
        if (epoll_wait(children.get(), &event, 1, -1) == 1) {
            takeNoteOfEnd(event.data.fd);
        }
    }
}
