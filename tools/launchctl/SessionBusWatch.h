// Whether a session is over: a job belongs to the session that loaded it, whose programs it hears
// over the session's bus.
#pragma once

#include "System/Clock.h"
#include "System/NotificationBus.h"

#include <memory>
#include <poll.h>
#include <string>

/// Watches a bus by being on it. A bus that comes back at its address within five seconds is the
/// same session's, restarted; nothing is ever over of one that was not there to begin with.
class SessionBusWatch {
public:
    explicit SessionBusWatch(std::string address);

    /// What to poll for, and until when at most, before process() is called. No descriptor (-1)
    /// when there is none to poll.
    pollfd descriptor() const;
    Clock::Deadline due() const { return nextTry; }
    void process();
    bool isOver() const { return over; }

private:
    void join();

    const std::string address;
    std::unique_ptr<NotificationBus> bus; // none while it is away
    Clock::Time lost;
    Clock::Deadline nextTry; // while it is away
    bool over = false;
};
