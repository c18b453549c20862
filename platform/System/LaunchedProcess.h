// A started program.
#pragma once

#include <sys/types.h>

/// Every operation may be called from any thread.
class LaunchedProcess {
public:
    virtual ~LaunchedProcess() = default;
    virtual pid_t processIdentifier() const = 0;
    virtual bool isRunning() = 0;
    /// The exit status, or the number of the signal that ended it. 0 while it runs.
    virtual int terminationStatus() = 0;
    /// Signals the program and everything that it started in its process group. Does nothing once
    /// it has ended.
    virtual void signal(int number) = 0;
    /// Blocks until the program has ended; on the main thread it serves the main loop meanwhile.
    virtual void waitUntilExit() = 0;
    /// Readable once the program has ended; -1 when its end can only be waited for.
    virtual int exitDescriptor() const { return -1; }
};
