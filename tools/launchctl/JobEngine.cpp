#include "JobEngine.h"

#include "Failure.h"
#include "SupervisorEngine.h"
#include "SystemdEngine.h"

#include <cstdlib>

std::vector<std::unique_ptr<JobEngine>> JobEngine::available() {
    const char* variable = std::getenv("TESSALINE_LAUNCHD_ENGINE");
    const std::string wanted = variable != nullptr ? variable : "";
    if (!wanted.empty() && wanted != "systemd" && wanted != "supervisor") {
        fail("Unknown engine \"%@\" in TESSALINE_LAUNCHD_ENGINE", wanted);
    }
    std::vector<std::unique_ptr<JobEngine>> engines;
    if (wanted != "supervisor") {
        if (auto manager = SystemdManager::connect()) {
            engines.push_back(std::make_unique<SystemdEngine>(std::move(manager)));
        } else if (!wanted.empty()) {
            fail("No systemd user manager answers");
        }
    }
    // It may keep jobs from before the user manager was there.
    if (wanted != "systemd") {
        engines.push_back(std::make_unique<SupervisorEngine>());
    }
    return engines;
}
