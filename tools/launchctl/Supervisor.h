// Keeps one job: starts its program, starts it again as the job asks for, and ends it with
// everything in its process group when told to by SIGTERM. It is the whole of a process of its own
// and changes that process's signals and children to fit.
#pragma once

#include "Job.h"
#include "SupervisedJob.h"
#include "System/Clock.h"

class Supervisor {
public:
    Supervisor(const Job& job, SupervisedJob& shared);

    /// Starts the job if it is to start on load. Raises when it cannot be started.
    void begin();
    /// Keeps it until SIGTERM comes and the job has ended.
    void run();

private:
    enum class Event { childEnded, told, due };

    void start();
    [[noreturn]] void becomeProgram(int failurePipe, pid_t supervisor) const;
    void reap();
    void jobEnded(int waitStatus);
    void endGroup(pid_t group);
    Event nextEvent(bool heedsTermination, const Clock::Deadline& deadline) const;

    const Job job;
    const std::vector<std::string> environment = Job::environment();
    SupervisedJob& shared;
    SupervisedJob::Record record;
    Clock::Time started;
    Clock::Deadline nextStart;
};
