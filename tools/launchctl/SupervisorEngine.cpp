#include "SupervisorEngine.h"

#include "Failure.h"
#include "JobName.h"
#include "Supervisor.h"
#include "System/Machine.h"
#include "System/ProcessDescriptor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>

using namespace std::chrono_literals;

namespace {

/// Whether it becomes readable or is closed by the other side in time.
bool waitFor(const FileDescriptor& descriptor, Clock::Duration bound) {
    auto& clock = Machine::current().clock();
    const auto deadline = clock.now() + bound;
    pollfd entry{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - clock.now());
        const int ready = poll(&entry, 1, std::max(static_cast<int>(left.count()), 0));
        if (ready > 0 || (ready == 0 && left <= 0ms) || (ready < 0 && errno != EINTR)) {
            return ready > 0;
        }
    }
}

/// The job's supervisor as something that cannot become another process; none when it has ended.
FileDescriptor handleOfSupervisor(const SupervisedJob& shared, const std::string& label) {
    const auto process = shared.supervisor();
    if (process == 0) {
        return {};
    }
    FileDescriptor handle = descriptorOfProcess(process);
    if (!handle && errno != ESRCH) {
        fail("%@ is kept by a process that cannot be reached from here", label);
    }
    return handle && shared.supervisor() == process ? std::move(handle) : FileDescriptor();
}

/// Lets go of everything that ties the process to the one that called launchctl.
void detach(int keptDescriptor) {
    const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null.get(), standard);
    }
    const auto kept = static_cast<unsigned>(keptDescriptor);
    close_range(STDERR_FILENO + 1, kept - 1, 0);
    close_range(kept + 1, ~0U, 0);
    [[maybe_unused]] const auto moved = chdir("/");
}

constexpr std::string_view started = "started";

/// The supervisor's whole life. What it writes to the pipe before it closes it is how the start
/// went.
[[noreturn]] void supervise(const Job& job, int pipe) {
    detach(pipe);
    FileDescriptor answer(pipe);
    const auto reply = [&answer](std::string_view text) {
        [[maybe_unused]] const auto written = write(answer.get(), text.data(), text.size());
    };
    try {
        SupervisedJob shared(jobNameForLabel(job.label));
        if (!shared.acquire()) {
            fail("%@: Already loaded", job.label);
        }
        Supervisor supervisor(job, shared);
        supervisor.begin();
        reply(started);
        answer.reset();
        supervisor.run();
    } catch (const std::exception& exception) {
        reply(exception.what());
        _exit(EXIT_FAILURE);
    }
    _exit(EXIT_SUCCESS);
}

std::string readAnswer(const FileDescriptor& pipe) {
    std::array<char, 4096> buffer{};
    std::string answer;
    const auto deadline = Machine::current().clock().now() + JobEngine::startBound;
    while (waitFor(pipe, deadline - Machine::current().clock().now())) {
        const auto count = read(pipe.get(), buffer.data(), buffer.size());
        if (count <= 0) {
            break;
        }
        answer.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return answer;
}

} // namespace

bool SupervisorEngine::isLoaded(const std::string& label) {
    return SupervisedJob(jobNameForLabel(label)).supervisor() != 0;
}

void SupervisorEngine::load(const Job& job) {
    {
        const SupervisedJob shared(jobNameForLabel(job.label));
        const auto before = handleOfSupervisor(shared, job.label);
        if (before && !(shared.record().isEnding && waitFor(before, startBound))) {
            fail(shared.record().isEnding ? "%@: Still being unloaded" : "%@: Already loaded",
                 job.label);
        }
    }
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail("Cannot start a supervisor: %@", std::strerror(errno));
    }
    FileDescriptor answer(pipe[0]), question(pipe[1]);
    // Twice, so that the supervisor is nobody's child that waits for its own.
    const auto child = fork();
    if (child == 0) {
        setsid();
        const auto supervisor = fork();
        if (supervisor == 0) {
            supervise(job, question.get());
        }
        _exit(supervisor > 0 ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    question.reset();
    waitpid(child, nullptr, 0);
    const auto text = readAnswer(answer);
    if (text != started) {
        fail("%@", text.empty() ? job.label + ": The supervisor does not start" : text);
    }
}

void SupervisorEngine::unload(const std::string& label) {
    const SupervisedJob shared(jobNameForLabel(label));
    const auto supervisor = handleOfSupervisor(shared, label);
    if (!supervisor) {
        return;
    }
    signalProcess(supervisor, SIGTERM);
    if (!waitFor(supervisor, endBound)) {
        fail("%@: Still being unloaded", label);
    }
}

std::vector<JobStatus> SupervisorEngine::list() {
    std::vector<JobStatus> jobs;
    for (const auto& name : SupervisedJob::names()) {
        const auto label = labelForJobName(name);
        if (!label) {
            continue;
        }
        const SupervisedJob shared(name);
        if (shared.supervisor() != 0) {
            const auto record = shared.record();
            jobs.push_back({*label,
                            record.process != 0 ? std::optional(record.process) : std::nullopt,
                            record.lastStatus});
        }
    }
    return jobs;
}
