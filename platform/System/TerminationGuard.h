// The promise not to be ended in the middle of something.
#pragma once

/// While one lives, the program's orderly end waits a little: for work that must not be cut in two,
/// such as replacing a file. Any thread.
class TerminationGuard {
public:
    TerminationGuard();
    ~TerminationGuard();
    TerminationGuard(const TerminationGuard&) = delete;
    TerminationGuard& operator=(const TerminationGuard&) = delete;

    /// Waits in real time until none is alive, or at most so long. From then on a new one blocks
    /// its thread, since the program is about to end.
    static bool closeForGood(double seconds);
};
