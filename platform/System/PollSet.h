// A set of file descriptors that one thread waits for, by the machine's clock.
#pragma once

#include "System/Clock.h"
#include "System/FileDescriptor.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

/// One thread's, but for wakeUp. What the system refuses is raised as std::system_error.
class PollSet {
public:
    using Handler = std::function<void(std::uint32_t events)>;
    /// What descriptors are watched for most often; all events are epoll's.
    static const std::uint32_t readable;

    PollSet();
    PollSet(const PollSet&) = delete;
    PollSet& operator=(const PollSet&) = delete;

    /// Has `handler` called within wait() whenever one of `events` is there, until it
    /// is removed. The descriptor stays the caller's.
    void add(int descriptor, std::uint32_t events, Handler handler);
    void change(int descriptor, std::uint32_t events);
    /// Does nothing for a descriptor that was not added. May be called from a handler.
    void remove(int descriptor);

    /// Blocks until something is there, it is woken up or the deadline has come, and calls the
    /// handlers of what is there. With a deadline at the beginning of time it does not block.
    void wait(Clock::Deadline deadline);
    /// Ends the wait that is under way, or the next one. Any thread.
    void wakeUp();

    /// Readable while something is there, after a wakeUp, and from the alarm's time on.
    int fileDescriptor() const { return set.get(); }
    /// For whoever waits for the descriptor instead of in here. None: it does not ring.
    void setAlarm(Clock::Deadline time);

private:
    void watch(int operation, int descriptor, std::uint32_t events) const;
    void serve(int descriptor, std::uint32_t events);

    const FileDescriptor set, wakeDescriptor;
    FileDescriptor alarm;      // made when it is first set
    Clock::Deadline alarmTime; // when it will ring
    Parking parking;
    std::map<int, std::shared_ptr<const Handler>> handlers;
};
