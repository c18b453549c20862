#include "System/ProcessReaper.h"

#include <csignal>
#include <functional>
#include <memory>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>

namespace {

/// False when the system has no thread left. It takes none of the signals that this program means
/// for its own threads.
bool startThread(std::function<void()> body) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = true;
    try {
        std::thread(std::move(body)).detach();
    } catch (const std::system_error&) {
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

void takeNoteOfEnd(const FileDescriptor& child, int options) {
    siginfo_t information{};
    waitid(P_PIDFD, static_cast<id_t>(child.get()), &information, WEXITED | options);
}

} // namespace

ProcessReaper& ProcessReaper::shared() {
    // Never destroyed: its thread sleeps until the program ends.
    static auto* reaper = new ProcessReaper;
    return *reaper;
}

ProcessReaper::ProcessReaper() : children(epoll_create1(EPOLL_CLOEXEC)) {
    if (children && !startThread([this] { work(); })) {
        children.reset();
    }
}

void ProcessReaper::adopt(FileDescriptor child) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = child.get();
    if (epoll_ctl(children.get(), EPOLL_CTL_ADD, child.get(), &event) == 0) {
        child.release();
        return;
    }
    // A set that could not be made, or takes no more: this one has a thread to itself.
    startThread(
        [child = std::make_shared<FileDescriptor>(std::move(child))] { takeNoteOfEnd(*child, 0); });
}

void ProcessReaper::work() const {
    for (;;) {
        epoll_event event{};
        if (epoll_wait(children.get(), &event, 1, -1) == 1) {
            const FileDescriptor child(event.data.fd);
            // Closing is not enough: a program that is just being started holds a copy, the set
            // would go on telling of it, and the number may be another descriptor's by then.
            epoll_ctl(children.get(), EPOLL_CTL_DEL, child.get(), nullptr);
            takeNoteOfEnd(child, WNOHANG);
        }
    }
}
