// What is known of a job that a supervisor keeps: a file in the user's runtime folder, locked by
// the supervisor for as long as it lives. The lock alone tells whether a job is loaded, and by
// which process: the kernel drops it however that process ends, so a killed supervisor leaves
// nothing behind that could be taken for a job.
#pragma once

#include "System/FileDescriptor.h"

#include <string>
#include <sys/types.h>
#include <vector>

class SupervisedJob {
public:
    struct Record {
        pid_t process = 0; // 0 while it does not run
        int lastStatus = 0;
        bool isEnding = false; // it is being unloaded
    };

    /// Raises when the user has no folder for it that is safe from others.
    explicit SupervisedJob(const std::string& name);

    /// Makes this process its supervisor. False when another one is.
    bool acquire();
    /// The supervisor's process; 0 for none.
    pid_t supervisor() const;

    Record record() const;
    void setRecord(const Record& record);

    /// Names of all that ever were; some may have no supervisor.
    static std::vector<std::string> names();

private:
    static std::string folder();
    FileDescriptor file;
};
