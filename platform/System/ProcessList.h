// The processes of the machine, as /proc shows them.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

struct RunningProcess {
    pid_t processIdentifier = 0;
    std::string executablePath;
};

/// Those of a user that run a program. One that runs a script is there twice, by its interpreter
/// and by the script that the kernel was asked to run.
std::vector<RunningProcess> processesOfUser(uid_t user);

/// Path of the executable that this process runs.
std::string executableOfThisProcess();
