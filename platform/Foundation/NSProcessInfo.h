// Facts about the machine, and the promise not to be ended in the middle of something.
#pragma once

#include <cstdint>
#include <string>

/// The distribution's name and version, as it calls itself.
std::string operatingSystemVersionString();
int processorCount();
/// In bytes.
std::uint64_t physicalMemory();
/// A text that is unique across machines and time.
std::string globallyUniqueString();

/// While one lives, the program's orderly end waits a little: for work that must not be cut in two,
/// such as replacing a file. Any thread.
class NSSuddenTerminationGuard {
public:
    NSSuddenTerminationGuard();
    ~NSSuddenTerminationGuard();
    NSSuddenTerminationGuard(const NSSuddenTerminationGuard&) = delete;
    NSSuddenTerminationGuard& operator=(const NSSuddenTerminationGuard&) = delete;

    /// Waits in real time until none is alive, or at most so long. From then on a new one blocks
    /// its thread, since the program is about to end.
    static bool closeForGood(double seconds);
};
