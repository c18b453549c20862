#include "Supervisor.h"

#include "Failure.h"
#include "System/ArgumentVector.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>

using namespace std::chrono_literals;

namespace {

/// What a shell answers for a program that it cannot run.
constexpr int cannotRun = 127;

sigset_t signals(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) {
        sigaddset(&set, number);
    }
    return set;
}

} // namespace

Supervisor::Supervisor(const Job& job, SupervisedJob& shared) : job(job), shared(shared) {
    // Signals wait until nextEvent asks for them; a session that closes ends jobs by SIGTERM, not
    // with its terminal.
    const auto handled = signals({SIGCHLD, SIGTERM});
    sigprocmask(SIG_SETMASK, &handled, nullptr);
    std::signal(SIGCHLD, SIG_DFL);
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    // What the job's own children leave behind becomes ours to wait for.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    prctl(PR_SET_NAME, "launchd-job");
}

void Supervisor::begin() {
    shared.setRecord(record);
    if (job.startsOnLoad) {
        start();
    }
}

void Supervisor::run() {
    for (;;) {
        switch (nextEvent(true, nextStart)) {
        case Event::childEnded:
            reap();
            break;
        case Event::due:
            nextStart.reset();
            try {
                start();
            } catch (const NSException&) { // the program's place may be empty for a while only
                jobEnded(W_EXITCODE(cannotRun, 0));
            }
            break;
        case Event::told:
            record.isEnding = true;
            shared.setRecord(record);
            if (record.process != 0) {
                endGroup(record.process);
            }
            return;
        }
    }
}

void Supervisor::start() {
    started = Machine::current().clock().now();
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail("Cannot start %@: %@", job.program, std::strerror(errno));
    }
    FileDescriptor fromProgram(pipe[0]), toSupervisor(pipe[1]);
    const auto self = getpid();
    const auto process = fork();
    if (process == 0) {
        becomeProgram(toSupervisor.get(), self);
    }
    if (process < 0) {
        fail("Cannot start %@: %@", job.program, std::strerror(errno));
    }
    // The pipe closes by itself when the program takes the child's place.
    toSupervisor.reset();
    int problem = 0;
    if (read(fromProgram.get(), &problem, sizeof problem) == sizeof problem) {
        waitpid(process, nullptr, 0);
        fail("Cannot start %@: %@", job.program, std::strerror(problem));
    }
    record.process = process;
    shared.setRecord(record);
}

void Supervisor::becomeProgram(int failurePipe, pid_t supervisor) const {
    setpgid(0, 0);
    // Without its supervisor nothing could end the job later.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != supervisor) {
        _exit(cannotRun);
    }
    for (const int number : {SIGHUP, SIGINT, SIGPIPE}) {
        std::signal(number, SIG_DFL);
    }
    const auto none = signals({});
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (job.workingDirectory.empty() || chdir(job.workingDirectory.c_str()) == 0) {
        execve(job.program.c_str(), argumentVector(job.arguments).data(),
               argumentVector(environment).data());
    }
    const int problem = errno;
    [[maybe_unused]] const auto told = write(failurePipe, &problem, sizeof problem);
    _exit(cannotRun);
}

void Supervisor::reap() {
    std::optional<int> endOfJob;
    int status = 0;
    for (pid_t child = 0; (child = waitpid(-1, &status, WNOHANG)) > 0;) {
        if (child == record.process) {
            endOfJob = status;
        }
    }
    if (endOfJob) {
        endGroup(record.process);
        jobEnded(*endOfJob);
    }
}

void Supervisor::jobEnded(int waitStatus) {
    record.process = 0;
    record.lastStatus = WIFEXITED(waitStatus) ? WEXITSTATUS(waitStatus) : -WTERMSIG(waitStatus);
    shared.setRecord(record);
    if (job.restartsAfter(record.lastStatus)) {
        nextStart = started + job.throttleInterval;
    }
}

void Supervisor::endGroup(pid_t group) {
    const auto isGone = [group] {
        pid_t child = 0;
        do {
            child = waitpid(-group, nullptr, WNOHANG);
        } while (child > 0);
        return child < 0;
    };
    if (isGone()) {
        return;
    }
    kill(-group, SIGTERM);
    kill(-group, SIGCONT);
    Clock::Deadline deadline = Machine::current().clock().now() + job.exitTimeOut;
    while (!isGone()) {
        if (nextEvent(false, deadline) == Event::due) {
            kill(-group, SIGKILL);
            deadline.reset();
        }
    }
}

Supervisor::Event Supervisor::nextEvent(bool heedsTermination,
                                        const Clock::Deadline& deadline) const {
    const auto awaited = heedsTermination ? signals({SIGCHLD, SIGTERM}) : signals({SIGCHLD});
    for (;;) {
        timespec rest{};
        if (deadline) {
            rest = Machine::current().clock().timeLeft(*deadline);
        }
        const int number = sigtimedwait(&awaited, nullptr, deadline ? &rest : nullptr);
        if (number == SIGCHLD) {
            return Event::childEnded;
        }
        if (number == SIGTERM) {
            return Event::told;
        }
        if (errno == EAGAIN) {
            return Event::due;
        }
    }
}
