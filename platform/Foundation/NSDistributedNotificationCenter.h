// Notifications between the processes of one login, over the session bus
// (System/NotificationBus.h). Delivery is asynchronous and unconfirmed, to the poster's own process
// too.
#pragma once

#include "Foundation/NSNotification.h"

#include <functional>
#include <memory>
#include <string>

/// Main thread only, but for posting, which any thread may do and which never waits. Without a bus
/// the centre says so once on the console, delivers within the process alone, and joins a bus as
/// soon as there is one; a lost bus is joined again the same way.
///
/// Only a few notifications are delivered in one pass of the run loop, so that a burst leaves the
/// main thread free for other work; none of it is lost. What was posted just before the program's
/// end still goes out, unless the bus takes nothing for a second.
class NSDistributedNotificationCenter {
public:
    using Handler = std::function<void(const NSNotification&)>;

    /// How many posts may wait for a bus that takes no more; further ones are dropped with a line
    /// on the console.
    static constexpr std::size_t maximumPosted = 262'144;

    /// First asked for on the main thread.
    static NSDistributedNotificationCenter& defaultCenter();
    ~NSDistributedNotificationCenter();
    NSDistributedNotificationCenter(const NSDistributedNotificationCenter&) = delete;
    NSDistributedNotificationCenter& operator=(const NSDistributedNotificationCenter&) = delete;

    /// Calls `handler` on the main thread for every notification of that name, in the order of
    /// arrival, until the observer is removed or gone.
    void addObserver(const std::shared_ptr<void>& observer, const std::string& name,
                     Handler handler);
    /// May be called from the observer's destructor.
    void removeObserver(const void* observer, const std::string& name);

    /// Only texts travel, a thousand entries and 1 MiB at most: a notification that holds more, or
    /// something else, is dropped with a line on the console.
    void postNotification(const NSNotification& notification);
    void postNotificationName(const std::string& name,
                              const std::optional<std::string>& object = std::nullopt);
    /// Whether there is no bus, so that nobody outside this process hears a post. The handler is
    /// told of each change.
    bool isAlone() const;
    void setAloneHandler(std::function<void()> handler);
    /// Sends what is left and forgets the connection, so that the next use looks for the machine's
    /// bus afresh. Observers stay; what has come and was not delivered yet is forgotten.
    void reset();

private:
    NSDistributedNotificationCenter();
    struct State;
    std::unique_ptr<State> state;
};
