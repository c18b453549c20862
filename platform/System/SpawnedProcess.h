// A program of the machine's own, started as a child of this process.
#pragma once

#include "System/FileDescriptor.h"
#include "System/LaunchedProcess.h"
#include "System/LaunchRequest.h"

#include <mutex>

/// The child leads a process group of its own, has the default signal mask and dispositions, and of
/// this process's descriptors gets nothing but its three standard ones. Its process number stays
/// taken until its end has been seen here, so a signal can never reach another process.
class SpawnedProcess : public LaunchedProcess {
public:
    /// Raises std::system_error when the program cannot be started.
    explicit SpawnedProcess(const LaunchRequest& request);
    /// A program that still runs is left alone; its end is taken note of when it comes.
    ~SpawnedProcess() override;
    SpawnedProcess(const SpawnedProcess&) = delete;
    SpawnedProcess& operator=(const SpawnedProcess&) = delete;

    pid_t processIdentifier() const override { return process; }
    bool isRunning() override;
    int terminationStatus() override;
    void signal(int number) override;
    void waitUntilExit() override;
    int exitDescriptor() const override { return endDescriptor.get(); }

private:
    bool hasEnded(); // with the mutex held

    pid_t process = 0;
    FileDescriptor endDescriptor; // readable once the program has ended
    std::mutex mutex;
    bool ended = false;
    int status = 0;
};
