#include "host/TerminationSignals.h"

#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

std::array<int, 2> ends; // of a pipe: reading, writing

void tellMainThread(int signal) {
    const int before = errno;
    const auto byte = static_cast<char>(signal);
    [[maybe_unused]] const ssize_t written = write(ends[1], &byte, 1);
    errno = before;
}

} // namespace

void handleTerminationSignals(std::function<void(int signal)> handler) {
    if (pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw NSException(NSInternalInconsistencyException,
                          std::string("There is no pipe for signals: ") + std::strerror(errno));
    }
    NSRunLoop::mainRunLoop().addDescriptor(ends[0], PollSet::readable,
                                           [handler = std::move(handler)](std::uint32_t) {
                                               char signal = 0;
                                               if (read(ends[0], &signal, 1) == 1) {
                                                   handler(signal);
                                               }
                                           });
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) {
            action = {};
            action.sa_handler = tellMainThread;
            action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
            sigaction(signal, &action, nullptr);
        }
    }
}
