// A connection to the session bus that carries notifications, and the form that they have on the
// wire: a signal from /com/quorvane/DistributedNotifications, interface
// com.quorvane.DistributedNotifications, member Posted, with name, object (empty for none) and user
// info.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct sd_bus;

/// One connection, from joining to the moment it is lost. Nothing here waits for the bus, except
/// waitForBus() and settle(). Main thread only.
class NotificationBus {
public:
    /// What a notification may weigh: its texts together, and the entries of its user info. Larger
    /// ones are neither sent nor taken, so that one sender cannot hold up everybody's main thread.
    static constexpr std::size_t maximumBytes = 1024 * 1024;
    static constexpr std::size_t maximumEntries = 1000;

    /// All of it well-formed UTF-8 without a zero byte.
    struct Notification {
        std::string name, object;
        std::vector<std::pair<std::string, std::string>> userInfo;

        /// Whether it weighs more than may travel.
        bool isTooLarge() const;
    };

    using Receiver = std::function<void(Notification)>;
    enum class Sending { done, full, lost };
    enum class Processing { something, nothing, lost };

    /// Starts to join the bus at an address. None when nobody listens there. Notifications that are
    /// not as they should be are dropped, with a line on the console for the first; all others go
    /// to `receiver`, which is called from within process().
    static std::unique_ptr<NotificationBus> join(const std::string& address, Receiver receiver);
    ~NotificationBus();
    NotificationBus(const NotificationBus&) = delete;
    NotificationBus& operator=(const NotificationBus&) = delete;

    /// Asks the bus for the notifications of a name, or no longer. What is sent afterwards is sent
    /// after the request, so that a process hears its own posts. Of many names, all notifications
    /// are asked for, also those of other names: a bus takes only so many requests. One that it
    /// refuses is said on the console, once.
    void watchName(const std::string& name);
    void unwatchName(const std::string& name);

    /// Whether the bus has let this connection in.
    bool isReady() const;
    /// Sends a notification, or says that the socket has taken all it can for now. Call it only
    /// when ready.
    Sending send(const Notification& notification);
    /// Writes what is waiting, and reads and handles at most one message.
    Processing process();
    /// Whether something that was sent has not yet left this process.
    bool hasUnsent() const;
    /// Waits in real time until process() has something to do. False when the time has run out.
    bool waitForBus(std::uint64_t milliseconds);

    /// Waits, for a second at most, until the bus has taken everything that has left this process:
    /// it drops what it has not read yet of a connection that is closed before its end has read
    /// all.
    void settle();

    int fileDescriptor() const;
    /// What to watch the descriptor for, as epoll has it. None once the connection is lost.
    std::optional<std::uint32_t> events() const;

private:
    struct Wire; // the callbacks of sd-bus
    NotificationBus(sd_bus* bus, Receiver receiver) : bus(bus), receiver(std::move(receiver)) {}
    void callBus(const char* method, const std::string& rule);
    void complain(const std::string& line);

    sd_bus* bus;
    Receiver receiver;
    std::uint64_t dropped = 0, complaintDue = 1;
    std::set<std::string> watched; // names with a rule of their own
    bool watchesAll = false, saidRefused = false;
};
