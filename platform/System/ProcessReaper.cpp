#include "System/ProcessReaper.h"

#include <csignal>
#include <sys/epoll.h>
#include <sys/wait.h>
#include <thread>

ProcessReaper& ProcessReaper::shared() {
    // Never destroyed: its thread sleeps until the program ends.
    static auto* reaper = new ProcessReaper;
    return *reaper;
}

ProcessReaper::ProcessReaper() : children(epoll_create1(EPOLL_CLOEXEC)) {
    // The thread takes none of the signals that this program means for its own threads.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    std::thread([this] { work(); }).detach();
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void ProcessReaper::adopt(FileDescriptor child) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = child.get();
    if (epoll_ctl(children.get(), EPOLL_CTL_ADD, child.get(), &event) == 0) {
        child.release();
    }
}

void ProcessReaper::work() const {
    for (;;) {
        epoll_event event{};
        if (epoll_wait(children.get(), &event, 1, -1) == 1) {
            const FileDescriptor child(event.data.fd);
            // Closing is not enough: a program that is just being started holds a copy, the set
            // would go on telling of it, and the number may be another descriptor's by then.
            epoll_ctl(children.get(), EPOLL_CTL_DEL, child.get(), nullptr);
            siginfo_t information{};
            waitid(P_PIDFD, static_cast<id_t>(child.get()), &information, WEXITED | WNOHANG);
        }
    }
}
