// The main thread's event loop: timers, file descriptors and work that other threads want done
// there. Another loop (Qt's) can drive it: it watches fileDescriptor() and calls runReady().
// While nothing is due, the thread sleeps; there is no polling. Of what became due while the thread
// was busy, descriptors come first, then performed work, then timers: news from outside is heard
// before the time-out that waited for it.
#pragma once

#include "Foundation/NSTimer.h"
#include "System/MainLoop.h"

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <set>

/// Timers belong to the default mode and wait while the modal-panel mode runs; performed work and
/// descriptors are served in both.
enum class NSRunLoopMode { defaultMode, modalPanel };

class NSRunLoop : public MainLoop {
public:
    /// The loop of the main thread, which is the thread that asks first.
    static NSRunLoop& mainRunLoop();

    /// Has the main thread run `work` later, in order with other such work. Any thread.
    void performBlock(std::function<void()> work);

    /// Runs the loop in `mode` until `done` says so or the deadline has passed; says which by its
    /// result. `done` is asked after everything that ran. Main thread.
    bool runUntil(const std::function<bool()>& done, Clock::Deadline deadline = std::nullopt,
                  NSRunLoopMode mode = NSRunLoopMode::defaultMode);
    /// Runs what is due now, without waiting, in the current mode. Main thread.
    void runReady();
    /// When the next timer of the current mode is due.
    Clock::Deadline nextTimer() const;
    /// Readable when runReady() has something to do.
    int fileDescriptor() { return pollSet().fileDescriptor(); }
    /// Leaves the innermost runUntil's wait, which then asks its `done` again. Any thread.
    void wakeUp() { pollSet().wakeUp(); }
    /// In the current mode.
    bool serveUntil(const std::function<bool()>& done, Clock::Deadline deadline) override {
        return runUntil(done, deadline, mode);
    }

    NSRunLoopMode currentMode() const { return mode; }

    /// Calls `handler` on the main thread whenever one of `events` is there, until it
    /// is removed. The descriptor stays the caller's. Main thread.
    void addDescriptor(int descriptor, std::uint32_t events, PollSet::Handler handler);
    void changeDescriptor(int descriptor, std::uint32_t events);
    void removeDescriptor(int descriptor) { pollSet().remove(descriptor); }

private:
    friend class NSTimer;
    friend class NSRunLoopModeScope;

    struct Due {
        Clock::Time time;
        std::uint64_t order;
        std::shared_ptr<NSTimer> timer;
        bool operator<(const Due& other) const {
            return time != other.time ? time < other.time : order < other.order;
        }
    };

    NSRunLoop() = default;
    ~NSRunLoop() override = default;
    void addTimer(std::shared_ptr<NSTimer> timer, Clock::Time time);
    void removeTimer(const NSTimer& timer);
    void setAlarm();
    void runPerformed();
    void runTimers();
    void setMode(NSRunLoopMode newMode);

    NSRunLoopMode mode = NSRunLoopMode::defaultMode;
    std::set<Due> timers;
    std::uint64_t nextOrder = 0;
    std::mutex mutex; // guards performed
    std::deque<std::function<void()>> performed;
};

/// Keeps the main run loop in a mode for as long as it lives: a modal session's frame.
class NSRunLoopModeScope {
public:
    explicit NSRunLoopModeScope(NSRunLoopMode mode);
    ~NSRunLoopModeScope();
    NSRunLoopModeScope(const NSRunLoopModeScope&) = delete;
    NSRunLoopModeScope& operator=(const NSRunLoopModeScope&) = delete;

private:
    NSRunLoopMode before;
};
