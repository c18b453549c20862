// Waiting for file descriptors by the machine's clock: for programs, pipes and whatever else lies
// outside this process. On the main thread the main loop is served meanwhile.
#pragma once

#include "System/MainLoop.h"

#include <optional>
#include <vector>

/// One thread's wait. Made, used and destroyed on that thread, but for wakeUp. Raises
/// std::system_error where the system has no descriptors left.
class DescriptorWait {
public:
    DescriptorWait();
    ~DescriptorWait();
    DescriptorWait(const DescriptorWait&) = delete;
    DescriptorWait& operator=(const DescriptorWait&) = delete;

    /// Calls `ready` within wait() whenever the descriptor can be read without blocking, its end
    /// and its errors included. The descriptor stays the caller's, and open until it is removed.
    void add(int descriptor, std::function<void()> ready);
    /// Does nothing for a descriptor that was not added. May be called from a `ready`.
    void remove(int descriptor);

    /// Blocks until `done` says so or the deadline has passed; says which by its result. `done` is
    /// asked first, and after everything that happened.
    bool wait(const std::function<bool()>& done, Clock::Deadline deadline = std::nullopt);
    /// Has a waiting wait() ask its `done` again. Any thread, while the object lives.
    void wakeUp() { set.wakeUp(); }

private:
    MainLoop* const mainLoop;   // none on another thread,
    std::optional<PollSet> own; // which has a set of its own
    PollSet& set;
    std::vector<int> watched;
};
