#include "support/PrivateBus.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

void PrivateBus::start() {
    std::filesystem::remove(directory.path() + "/bus");
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0) {
        throw std::runtime_error("no pipe for the bus");
    }
    const std::string addressOption = "--address=" + address();
    const std::array<const char*, 6> arguments{
        "dbus-daemon",       "--session",           "--nofork",
        "--print-address=1", addressOption.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe[1], 1);
    posix_spawn_file_actions_addclose(&actions, pipe[0]);
    // A bus that a crashed test leaves behind must not keep the test's output open.
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    const int result = posix_spawnp(&process, arguments[0], &actions, nullptr,
                                    const_cast<char* const*>(arguments.data()), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(pipe[1]);
    // It prints its address when it listens there.
    char first = 0;
    const bool listens = result == 0 && read(pipe[0], &first, 1) == 1;
    close(pipe[0]);
    if (!listens) {
        process = 0;
        throw std::runtime_error("dbus-daemon does not start");
    }
}

void PrivateBus::kill() {
    if (process > 0) {
        ::kill(process, SIGKILL);
        waitpid(process, nullptr, 0);
        process = 0;
    }
}

void PrivateBus::signal(int number) const { ::kill(process, number); }
