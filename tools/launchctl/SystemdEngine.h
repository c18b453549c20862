// Jobs kept by systemd's user manager, without a file of ours: a job is a transient service, and a
// slice around it. The slice stays from load to unload, also while the service has nothing to run
// for; ending the slice ends the service in it.
#pragma once

#include "JobEngine.h"
#include "SystemdManager.h"

class SystemdEngine : public JobEngine {
public:
    explicit SystemdEngine(std::unique_ptr<SystemdManager> manager) : manager(std::move(manager)) {}

    bool isLoaded(const std::string& label) override;
    void load(const Job& job) override;
    void unload(const std::string& label) override;
    std::vector<JobStatus> list() override;

private:
    std::string startService(const std::string& name, const Job& job);
    JobStatus statusOf(const std::string& name, const std::string& label) const;

    const std::unique_ptr<SystemdManager> manager;
};
