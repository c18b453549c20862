// Notifications between the processes of one login, over the session bus: a signal from
// /com/quorvane/DistributedNotifications, interface com.quorvane.DistributedNotifications, member
// Posted, with name, object (empty for none) and user info. Delivery is asynchronous and
// unconfirmed, to the poster's own process too.
#pragma once

#include "Foundation/NSNotification.h"

#include <functional>
#include <memory>
#include <string>

/// Main thread only, but for posting, which any thread may do. Without a bus the centre says so
/// once on the console, delivers within the process alone, and joins a bus as soon as there is one.
class NSDistributedNotificationCenter {
public:
    using Handler = std::function<void(const NSNotification&)>;

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

    void postNotification(const NSNotification& notification);
    void postNotificationName(const std::string& name,
                              const std::optional<std::string>& object = std::nullopt);
    /// Forgets the connection, so that the next use looks for the machine's bus afresh.
    void reset();

private:
    NSDistributedNotificationCenter();
    struct State;
    std::unique_ptr<State> state;
};
