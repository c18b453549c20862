#include "Supervisor.h"

#include "DesktopNotice.h"
#include "Failure.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPathUtilities.h"
#include "JobTrust.h"
#include "System/ArgumentVector.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <systemd/sd-journal.h>
#include <unistd.h>
#include <utility>

using namespace std::chrono_literals;

namespace {

/// What a shell answers for a program that it cannot run.
constexpr int cannotRun = 127;
/// Between two tries to start what cannot be started, whatever the job asks for.
constexpr std::chrono::seconds shortestPause = 1s;
/// With so many failures in a row, each of a run that was shorter, somebody should know.
constexpr int tooManyFailures = 3;
constexpr Clock::Duration longRun = 60s;

sigset_t setOf(std::initializer_list<int> numbers) {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : numbers) {
        sigaddset(&set, number);
    }
    return set;
}

bool isPast(const Clock::Deadline& deadline) {
    return deadline && Machine::current().clock().now() >= *deadline;
}

/// Where a job's own words go: the journal, or nowhere without one.
FileDescriptor openLog(const std::string& label) {
    FileDescriptor journal(sd_journal_stream_fd(label.c_str(), LOG_INFO, 0));
    return journal ? std::move(journal) : FileDescriptor(open("/dev/null", O_WRONLY | O_CLOEXEC));
}

} // namespace

Supervisor::Supervisor(const Job& job, SupervisedJob& shared)
    : job(job), shared(shared), session(Machine::current().sessionBusAddress()) {
    // Signals wait until they are read; a session that closes ends jobs by its bus, not with its
    // terminal.
    const auto handled = setOf({SIGCHLD, SIGTERM});
    sigprocmask(SIG_SETMASK, &handled, nullptr);
    signals.reset(signalfd(-1, &handled, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!signals) {
        fail("Cannot start a supervisor: %@", std::strerror(errno));
    }
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGINT, SIG_IGN);
    // What the job's own children leave behind becomes ours to wait for.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::string Supervisor::begin() {
    requireTrustedProgram(job);
    shared.setRecord(record);
    if (!job.startsOnLoad) {
        return "";
    }
    try {
        start();
    } catch (const std::exception& exception) {
        couldStart = false;
        jobEnded(W_EXITCODE(cannotRun, 0));
        if (!nextStart) {
            throw;
        }
        return sentence("%@; tried again from time to time", exception.what());
    }
    return "";
}

void Supervisor::run() {
    while (!isTold) {
        wait(nextStart);
        reap();
        if (!isTold && isPast(nextStart)) {
            startAgain();
        }
    }
    shared.setEnding();
    if (record.process != 0) {
        endGroup(record.process);
    }
}

/// The program's place may be empty for a while only, which is said once.
void Supervisor::startAgain() {
    nextStart.reset();
    try {
        requireTrustedProgram(job);
        start();
        couldStart = true;
    } catch (const std::exception& exception) {
        if (std::exchange(couldStart, false)) {
            NSLog("launchctl: %@: %@", job.label,
                  sentence("%@; tried again from time to time", exception.what()));
        }
        started = Machine::current().clock().now();
        jobEnded(W_EXITCODE(cannotRun, 0));
    }
}

void Supervisor::start() {
    started = Machine::current().clock().now();
    std::array<int, 2> pipe{};
    if (pipe2(pipe.data(), O_CLOEXEC) != 0) {
        fail("Cannot start %@: %@", job.program, std::strerror(errno));
    }
    FileDescriptor fromProgram(pipe[0]), toSupervisor(pipe[1]);
    const auto output = openLog(job.label);
    // Before there is a child: what it raised would make a second supervisor of it.
    const auto arguments = argumentVector(job.arguments);
    const auto variables = argumentVector(environment);
    const auto self = getpid();
    const auto process = fork();
    if (process == 0) {
        becomeProgram(arguments.data(), variables.data(), toSupervisor.get(), output.get(), self);
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

void Supervisor::becomeProgram(char* const* arguments, char* const* variables, int failurePipe,
                               int output, pid_t supervisor) const {
    setpgid(0, 0);
    // Without its supervisor nothing could end the job later.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != supervisor) {
        _exit(cannotRun);
    }
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    for (const int number : {SIGHUP, SIGINT, SIGPIPE, SIGXFSZ}) {
        std::signal(number, SIG_DFL);
    }
    const auto none = setOf({});
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (job.workingDirectory.empty() || chdir(job.workingDirectory.c_str()) == 0) {
        execve(job.program.c_str(), arguments, variables);
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
    countFailure();
    if (job.restartsAfter(record.lastStatus)) {
        nextStart = started + std::max(job.throttleInterval, couldStart ? 0s : shortestPause);
    }
}

/// A job that keeps failing is nobody's secret; it is said once, until it has worked again.
void Supervisor::countFailure() {
    const bool worked =
        record.lastStatus == 0 || Machine::current().clock().now() - started >= longRun;
    failures = worked ? 0 : failures + 1;
    if (failures == tooManyFailures) {
        const auto name = stringByDeletingPathExtension(lastPathComponent(job.program));
        showOnDesktop(sentence("%@ keeps failing", name),
                      sentence("It has failed %d times in a row, the last time with status %d. "
                               "Its settings window says more.",
                               failures, record.lastStatus));
    }
}

void Supervisor::endGroup(pid_t group) {
    const auto isGone = [group] {
        pid_t child = 0;
        do {
            child = waitpid(-group, nullptr, WNOHANG);
        } while (child > 0);
        return child < 0 && errno == ECHILD;
    };
    if (isGone()) {
        return;
    }
    kill(-group, SIGTERM);
    kill(-group, SIGCONT);
    Clock::Deadline deadline = Machine::current().clock().now() + job.exitTimeOut;
    while (!isGone()) {
        wait(deadline);
        if (isPast(deadline)) {
            kill(-group, SIGKILL);
            deadline.reset();
        }
    }
}

/// Until a signal comes, the session changes or a time is reached.
void Supervisor::wait(Clock::Deadline deadline) {
    std::array entries{pollfd{.fd = signals.get(), .events = POLLIN, .revents = 0},
                       session.descriptor()};
    if (const auto due = session.due()) {
        deadline = deadline ? std::min(*deadline, *due) : *due;
    }
    const auto rest = deadline ? Machine::current().clock().timeLeft(*deadline) : timespec{};
    ppoll(entries.data(), entries.size(), deadline ? &rest : nullptr, nullptr);
    readSignals();
    session.process();
    isTold = isTold || session.isOver();
}

void Supervisor::readSignals() {
    signalfd_siginfo signal{};
    while (read(signals.get(), &signal, sizeof signal) == sizeof signal) {
        isTold = isTold || signal.ssi_signo == SIGTERM;
    }
}
