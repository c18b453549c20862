#include "System/SpawnedProcess.h"

#include "System/ArgumentVector.h"
#include "System/DescriptorWait.h"
#include "System/OutsideWork.h"
#include "System/ProcessDescriptor.h"
#include "System/ProcessReaper.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>

namespace {

[[noreturn]] void refuse(const std::string& path, int problem) {
    throw std::system_error(problem, std::generic_category(), "Couldn't launch " + path);
}

/// What posix_spawn is told beside the program and its arguments.
class SpawnOptions {
public:
    explicit SpawnOptions(const LaunchRequest& request) {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
        connect(request.standardInput, STDIN_FILENO);
        connect(request.standardOutput, STDOUT_FILENO);
        connect(request.standardError, STDERR_FILENO);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
        if (!request.workingDirectory.empty()) {
            posix_spawn_file_actions_addchdir_np(&actions, request.workingDirectory.c_str());
        }
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setsigdefault(&attributes, &all);
        posix_spawnattr_setpgroup(&attributes, 0);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                  POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnOptions() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
    SpawnOptions(const SpawnOptions&) = delete;
    SpawnOptions& operator=(const SpawnOptions&) = delete;

    posix_spawn_file_actions_t actions{};
    posix_spawnattr_t attributes{};

private:
    void connect(int descriptor, int number) {
        if (descriptor < 0) {
            if (number != STDIN_FILENO) {
                posix_spawn_file_actions_addopen(&actions, number, "/dev/null", O_WRONLY, 0);
            }
            return;
        }
        if (descriptor <= STDERR_FILENO) {
            // The child moves its descriptors one by one; a low one could be overwritten before its
            // turn comes.
            auto& copy = copies[static_cast<std::size_t>(number)];
            copy.reset(fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
            descriptor = copy.get();
        }
        posix_spawn_file_actions_adddup2(&actions, descriptor, number);
    }

    std::array<FileDescriptor, 3> copies;
};

pid_t spawn(const LaunchRequest& request) {
    std::vector<std::string> command{request.launchPath};
    command.insert(command.end(), request.arguments.begin(), request.arguments.end());
    const auto endsEarly = [](const auto& text) { return text.find('\0') != std::string::npos; };
    if (std::any_of(command.begin(), command.end(), endsEarly)) {
        refuse(request.launchPath, EINVAL); // the kernel would cut it there
    }
    const SpawnOptions options(request);
    pid_t process = 0;
    const int problem = posix_spawn(&process, request.launchPath.c_str(), &options.actions,
                                    &options.attributes, argumentVector(command).data(), environ);
    if (problem != 0) {
        refuse(request.launchPath, problem);
    }
    return process;
}

} // namespace

SpawnedProcess::SpawnedProcess(const LaunchRequest& request)
    : process(spawn(request)), endDescriptor(descriptorOfProcess(process)) {
    if (!endDescriptor && errno == ESRCH) {
        ended = true; // and already forgotten: this process ignores the ends of its children
    } else if (!endDescriptor) {
        // Without its descriptor the program's end could not be waited for.
        const int problem = errno;
        kill(-process, SIGKILL);
        waitpid(process, nullptr, 0);
        refuse(request.launchPath, problem);
    }
}

SpawnedProcess::~SpawnedProcess() {
    if (!hasEnded()) {
        try {
            ProcessReaper::shared().adopt(process, std::move(endDescriptor));
        } catch (const std::bad_alloc&) { // its entry then stays for as long as this process runs
        }
    }
}

bool SpawnedProcess::hasEnded() {
    if (ended) {
        return true;
    }
    siginfo_t information{};
    const int result =
        waitid(P_PIDFD, static_cast<id_t>(endDescriptor.get()), &information, WEXITED | WNOHANG);
    // A program of which the kernel has no record any more has ended too: this process ignores the
    // ends of its children then, and the status is lost.
    ended = result == 0 ? information.si_pid != 0 : errno == ECHILD;
    status = information.si_status;
    return ended;
}

bool SpawnedProcess::isRunning() {
    std::lock_guard lock(mutex);
    return !hasEnded();
}

int SpawnedProcess::terminationStatus() {
    std::lock_guard lock(mutex);
    return hasEnded() ? status : 0;
}

void SpawnedProcess::signal(int number) {
    std::lock_guard lock(mutex);
    // While its end has not been seen the process number, and with it the group's, is still its
    // own.
    if (!hasEnded()) {
        kill(-process, number);
        if (getpgid(process) != process) {
            kill(process, number); // it has left the group that was made for it
        }
    }
}

void SpawnedProcess::waitUntilExit() {
    if (!isRunning()) {
        return;
    }
    if (MainLoop::ofThisThread()) {
        // A descriptor of this wait's own: another wait for the same program may be under way.
        const FileDescriptor end = endDescriptor.duplicate();
        DescriptorWait waiting;
        waiting.add(end.get(), [] {});
        waiting.wait([this] { return !isRunning(); });
        return;
    }
    // Takes no descriptor, so that it works when none is left.
    Clock& clock = Clock::current();
    const OutsideWork outsideWork(clock);
    Parking parking;
    pollfd awaited{endDescriptor.get(), POLLIN, 0};
    while (isRunning()) {
        clock.parkInPoll(parking, std::nullopt, [&](Clock::Deadline limit) {
            const auto left = limit ? clock.timeLeft(*limit) : timespec{};
            return ppoll(&awaited, 1, limit ? &left : nullptr, nullptr) > 0;
        });
    }
}
