#include "support/PrivateBus.h"

#include "Foundation/FileDescriptor.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>

void PrivateBus::start() {
    std::filesystem::remove(directory.path() + "/bus");
    const std::string addressOption = "--address=" + address();
    std::array<int, 2> ends{-1, -1};
    const int piped = pipe2(ends.data(), O_CLOEXEC);
    const FileDescriptor reading(ends[0]);
    FileDescriptor writing(ends[1]);
    process = piped == 0 ? fork() : -1;
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves no bus behind
        dup2(writing.get(), STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        execlp("dbus-daemon", "dbus-daemon", "--session", "--nofork", "--print-address=1",
               addressOption.c_str(), nullptr);
        _exit(1);
    }
    writing.reset();
    // It prints its address when it listens there.
    char first = 0;
    if (read(reading.get(), &first, 1) != 1) {
        throw std::runtime_error("dbus-daemon does not start");
    }
}

void PrivateBus::kill() {
    if (process > 0) {
        signal(SIGKILL);
        waitpid(process, nullptr, 0);
        process = 0;
    }
}

void PrivateBus::signal(int number) const { ::kill(process, number); }
