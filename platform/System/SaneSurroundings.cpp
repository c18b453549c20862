#include "System/SaneSurroundings.h"

#include <csignal>
#include <fcntl.h>
#include <initializer_list>
#include <unistd.h>

namespace {

/// Else the next file that is opened takes the place, and gets what is printed.
void openMissingStandardFiles() {
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(standard, F_GETFD) < 0) {
            [[maybe_unused]] const int lowest = open("/dev/null", O_RDWR);
        }
    }
}

} // namespace

void takeSaneSurroundings() {
    openMissingStandardFiles();
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGCHLD, SIG_DFL);
}
