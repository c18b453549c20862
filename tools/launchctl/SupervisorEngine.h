// Jobs on machines and in containers without systemd's user manager: each has a small supervisor
// process of its own (Supervisor.h), found again by the lock that it holds (SupervisedJob.h).
#pragma once

#include "JobEngine.h"

class SupervisorEngine : public JobEngine {
public:
    bool isLoaded(const std::string& label) override;
    void load(const Job& job) override;
    void unload(const std::string& label) override;
    std::vector<JobStatus> list() override;
};
