#include "SupervisorStart.h"

#include "Failure.h"
#include "JobName.h"
#include "System/ArgumentVector.h"
#include "System/ProcessList.h"
#include "SystemdManager.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// What a shell answers for a program that it cannot run.
constexpr int cannotRun = 127;

std::string wantedEngine() {
    const char* variable = std::getenv("TESSALINE_LAUNCHD_ENGINE");
    std::string wanted = variable != nullptr ? variable : "";
    if (!wanted.empty() && wanted != "systemd" && wanted != "supervisor") {
        fail("Unknown engine \"%@\" in TESSALINE_LAUNCHD_ENGINE", wanted);
    }
    return wanted;
}

/// In a session and with descriptors of its own.
[[noreturn]] void becomeSupervisor(char* const* arguments, int output) {
    const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
    dup2(output, STDOUT_FILENO);
    dup2(null, STDIN_FILENO);
    dup2(null, STDERR_FILENO);
    close_range(STDERR_FILENO + 1, ~0U, 0);
    execv(arguments[0], arguments);
    _exit(cannotRun);
}

void startApart(const std::vector<std::string>& command, const FileDescriptor& output) {
    const auto arguments = argumentVector(command);
    // Twice, so that the supervisor is nobody's child that waits for its own.
    const auto child = fork();
    if (child == 0) {
        setsid();
        const auto supervisor = fork();
        if (supervisor == 0) {
            becomeSupervisor(arguments.data(), output.get());
        }
        _exit(supervisor > 0 ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    if (child < 0) {
        fail("Cannot start a supervisor: %@", std::strerror(errno));
    }
    waitpid(child, nullptr, 0);
}

} // namespace

void startSupervisor(const std::string& path, const Job& job, const FileDescriptor& output) {
    const auto wanted = wantedEngine();
    const std::vector<std::string> command{executableOfThisProcess(), "supervise", path};
    const auto manager = wanted == "supervisor" ? nullptr : SystemdManager::connect();
    if (manager != nullptr) {
        manager->startService({.name = jobNameForLabel(job.label),
                               .description = job.label,
                               .command = command,
                               .environment = Job::environment(),
                               .exitTimeOut = job.exitTimeOut,
                               .output = output.get()});
    } else if (wanted == "systemd") {
        fail("No systemd user manager answers");
    } else {
        startApart(command, output);
    }
}
