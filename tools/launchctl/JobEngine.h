// What runs jobs. Jobs are known by their label; each engine keeps those of this user and this
// sandbox only. Every operation answers within seconds, but for `unload`, which waits for the job.
#pragma once

#include "Job.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

struct JobStatus {
    std::string label;
    std::optional<int> processIdentifier; // none while it does not run
    int lastStatus = 0;                   // exit status, or the negative signal, of its last end
};

class JobEngine {
public:
    /// For a job's start, and for the end of one of the same label before it.
    static constexpr std::chrono::seconds startBound{4};
    /// Beyond the time that a job may take to end.
    static constexpr std::chrono::seconds endBound{25};

    JobEngine() = default;
    virtual ~JobEngine() = default;
    JobEngine(const JobEngine&) = delete;
    JobEngine& operator=(const JobEngine&) = delete;

    virtual bool isLoaded(const std::string& label) = 0;
    /// Returns once the program has been started. Waits a little for a job of that label that is
    /// just ending. Raises when the program cannot be started; the job is not loaded then.
    virtual void load(const Job& job) = 0;
    /// Ends the job and forgets it. Returns once its processes are gone; the end takes its course
    /// also when the caller does not live to see it. Raises for one that does not end in time.
    virtual void unload(const std::string& label) = 0;
    virtual std::vector<JobStatus> list() = 0;

    /// Those that answer, the one to load new jobs with first: systemd's user manager before our
    /// supervisor. TESSALINE_LAUNCHD_ENGINE ("systemd", "supervisor") demands one; raises when that
    /// one does not answer.
    static std::vector<std::unique_ptr<JobEngine>> available();
};
