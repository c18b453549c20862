// Keeps one job: starts its program, starts it again as the job asks for, and ends it with
// everything in its process group when told to by SIGTERM or when its session is over. It is the
// whole of a process of its own and changes that process's signals and children to fit.
#pragma once

#include "Job.h"
#include "SessionBusWatch.h"
#include "SupervisedJob.h"

#include <string>
#include <sys/signalfd.h>

class Supervisor {
public:
    /// Raises when the machine lacks what it needs.
    Supervisor(const Job& job, SupervisedJob& shared);

    /// Starts the job if it is to start on load. Raises when it cannot be started, unless it is to
    /// be tried again: then that is the warning that it returns.
    std::string begin();
    /// Keeps it until it is told to end and the job has ended.
    void run();

private:
    void start();
    void startAgain();
    [[noreturn]] void becomeProgram(char* const* arguments, char* const* variables, int failurePipe,
                                    int output, pid_t supervisor) const;
    void reap();
    void jobEnded(int waitStatus);
    void countFailure();
    void endGroup(pid_t group);
    void wait(Clock::Deadline deadline);
    void readSignals();

    const Job job;
    const std::vector<std::string> environment = Job::environment();
    SupervisedJob& shared;
    SupervisedJob::Record record;
    FileDescriptor signals;
    SessionBusWatch session;
    bool isTold = false; // to end
    bool couldStart = true;
    int failures = 0; // in a row
    Clock::Time started;
    Clock::Deadline nextStart;
};
