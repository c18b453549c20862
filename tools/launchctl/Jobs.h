// The loaded jobs of this user and this sandbox, known by their labels. Each is kept by a
// supervisor (Supervisor.h), a process of its own that is found again by the lock that it holds
// (SupervisedJob.h), whoever started it.
#pragma once

#include "Job.h"

#include <optional>
#include <string>
#include <vector>

struct JobStatus {
    std::string label;
    std::optional<int> processIdentifier; // none while it does not run
    int lastStatus = 0;                   // exit status, or the negative signal, of its last end
};

/// Starts the job in a file and returns a warning, empty for none, once its program runs. Where one
/// of the same label is just ending, or belongs to another session, it waits for that one's end;
/// the new job starts then also when the caller does not live to see it. Raises when a job of this
/// session has the label, and when the program cannot be started, unless the job is to be kept
/// alive: then it is tried again.
std::string loadJob(const std::string& path, const Job& job);

/// Ends the job and forgets it, and one that waits for its end. Returns once the supervisors are
/// gone; the end takes its course also when the caller does not live to see it. Raises when there
/// is none, and for one that does not end in time.
void unloadJob(const std::string& label);

/// Those of other sessions too.
std::vector<JobStatus> loadedJobs();
/// Labels of all but those of other sessions.
std::vector<std::string> labelsOfSession();
/// None for a label that is not loaded.
std::optional<JobStatus> loadedJob(const std::string& label);
