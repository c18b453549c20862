// The distributed notification centre's side of the session bus: one connection, and the form that
// notifications have on the wire. Everything that knows sd-bus about them stays behind this header.
#pragma once

#include "Foundation/NSNotification.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

struct sd_bus;

/// One connection, from joining to the moment it is lost. Nothing here waits for the bus, except
/// waitForBus() and settle(). Main thread only; the static functions may be called from any thread.
class NotificationBus {
public:
    /// What a notification may weigh: its texts together, and the entries of its user info. Larger
    /// ones are neither sent nor taken, so that one sender cannot hold up everybody's main thread.
    static constexpr std::size_t maximumBytes = 1024 * 1024;
    static constexpr std::size_t maximumEntries = 1000;

    using Receiver = std::function<void(NSNotification)>;
    enum class Sending { done, full, lost };
    enum class Processing { something, nothing, lost };

    /// Starts to join the bus at an address. None when nobody listens there. Notifications that are
    /// not as they should be are dropped with a line on the console; all others go to `receiver`,
    /// which is called from within process().
    static std::unique_ptr<NotificationBus> join(const std::string& address, Receiver receiver);
    ~NotificationBus();
    NotificationBus(const NotificationBus&) = delete;
    NotificationBus& operator=(const NotificationBus&) = delete;

    /// Why a notification cannot travel, as a part of a sentence; empty when it can.
    static std::string unfitness(const NSNotification& notification);

    /// Asks the bus for the notifications of a name, or no longer. What is sent afterwards is sent
    /// after the request, so that a process hears its own posts.
    void watchName(const std::string& name);
    void unwatchName(const std::string& name);

    /// Whether the bus has let this connection in.
    bool isReady() const;
    /// Sends a fit notification, or says that the socket has taken all it can for now. Call it only
    /// when ready.
    Sending send(const NSNotification& notification);
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
    void callBus(const char* method, const std::string& name);

    sd_bus* bus;
    Receiver receiver;
};
