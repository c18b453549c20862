// The loop that serves the main thread, as the waits in here see it: whoever waits on the
// main thread has everything else served meanwhile.
#pragma once

#include "System/PollSet.h"

#include <thread>

/// Made on the main thread, once, and never destroyed.
class MainLoop {
public:
    MainLoop(const MainLoop&) = delete;
    MainLoop& operator=(const MainLoop&) = delete;

    /// None on every thread but the main one, and there as long as none was made.
    static MainLoop* ofThisThread();
    bool isCurrentThread() const { return std::this_thread::get_id() == thread; }

    /// Serves until `done` says so or the deadline has passed; says which by its result. `done` is
    /// asked after everything that ran.
    virtual bool serveUntil(const std::function<bool()>& done, Clock::Deadline deadline) = 0;
    /// What the loop waits for.
    PollSet& pollSet() { return descriptors; }

protected:
    MainLoop();
    virtual ~MainLoop() = default;

private:
    const std::thread::id thread = std::this_thread::get_id();
    PollSet descriptors;
};
