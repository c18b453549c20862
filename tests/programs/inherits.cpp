// Prints what it got from its starter: descriptors beyond the standard three, blocked and ignored
// signals, and whether it leads a process group of its own.
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

int main() {
    for (int descriptor = 3; descriptor < 1024; ++descriptor) {
        if (fcntl(descriptor, F_GETFD) >= 0) {
            std::printf("descriptor %d\n", descriptor);
        }
    }
    sigset_t blocked;
    sigprocmask(SIG_BLOCK, nullptr, &blocked);
    for (int number = 1; number < 32; ++number) {
        struct sigaction action {};
        sigaction(number, nullptr, &action);
        if (sigismember(&blocked, number) != 0 || action.sa_handler == SIG_IGN) {
            std::printf("signal %d\n", number);
        }
    }
    std::puts(getpgrp() == getpid() ? "leader" : "follower");
}
