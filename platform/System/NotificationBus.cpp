#include "System/NotificationBus.h"

#include "System/Machine.h"

#include <systemd/sd-bus.h>

namespace {

constexpr const char* notificationsPath = "/com/quorvane/DistributedNotifications";
constexpr const char* notificationsInterface = "com.quorvane.DistributedNotifications";
constexpr const char* postedMember = "Posted";
constexpr const char* postedSignature = "ssa{ss}";

/// What may lie in sd-bus's own queue: enough to keep the socket busy. The rest waits with the
/// sender, who can still do something else with it when the bus is lost.
constexpr std::uint64_t maximumQueuedWrites = 1024;

struct MessageUnref {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageUnref>;

using Notification = NotificationBus::Notification;

} // namespace

bool Notification::isTooLarge() const {
    std::size_t bytes = name.size() + object.size();
    for (const auto& [key, value] : userInfo) {
        bytes += key.size() + value.size();
    }
    return bytes > maximumBytes || userInfo.size() > maximumEntries;
}

namespace {

bool readUserInfo(sd_bus_message* message, Notification& notification) {
    const char* key = nullptr;
    const char* value = nullptr;
    if (sd_bus_message_enter_container(message, 'a', "{ss}") < 0) {
        return false;
    }
    int result = 0;
    std::size_t bytes = 0;
    // What is too much is not read to its end.
    while (bytes <= NotificationBus::maximumBytes &&
           notification.userInfo.size() <= NotificationBus::maximumEntries &&
           (result = sd_bus_message_read(message, "{ss}", &key, &value)) > 0) {
        const auto& entry = notification.userInfo.emplace_back(key, value);
        bytes += entry.first.size() + entry.second.size();
    }
    return result >= 0;
}

/// None with a reason when the message is no notification.
std::optional<Notification> readNotification(sd_bus_message* message, std::string& problem) {
    if (!sd_bus_message_has_signature(message, postedSignature)) {
        problem = "foreign signature";
        return std::nullopt;
    }
    const char* name = nullptr;
    const char* object = nullptr;
    if (sd_bus_message_read(message, "ss", &name, &object) < 0) {
        problem = "malformed";
        return std::nullopt;
    }
    Notification notification{.name = name, .object = object, .userInfo = {}};
    if (!readUserInfo(message, notification)) {
        problem = "malformed";
    } else if (notification.isTooLarge()) {
        problem = "too large";
    }
    return problem.empty() ? std::optional(std::move(notification)) : std::nullopt;
}

/// None when the texts cannot be written.
Message newMessage(sd_bus* bus, const Notification& notification) {
    sd_bus_message* made = nullptr;
    if (sd_bus_message_new_signal(bus, &made, notificationsPath, notificationsInterface,
                                  postedMember) < 0) {
        return nullptr;
    }
    Message message(made);
    bool good = sd_bus_message_append(made, "ss", notification.name.c_str(),
                                      notification.object.c_str()) >= 0 &&
                sd_bus_message_open_container(made, 'a', "{ss}") >= 0;
    for (const auto& [key, value] : notification.userInfo) {
        good = good && sd_bus_message_append(made, "{ss}", key.c_str(), value.c_str()) >= 0;
    }
    good = good && sd_bus_message_close_container(made) >= 0;
    return good ? std::move(message) : nullptr;
}

} // namespace

struct NotificationBus::Wire {
    static int receive(sd_bus_message* message, void* self, sd_bus_error*) {
        const char* path = sd_bus_message_get_path(message);
        if (!sd_bus_message_is_signal(message, notificationsInterface, postedMember) ||
            std::string_view(path ? path : "") != notificationsPath) {
            return 0;
        }
        std::string problem;
        if (auto notification = readNotification(message, problem)) {
            static_cast<NotificationBus*>(self)->receiver(std::move(*notification));
        } else {
            const char* sender = sd_bus_message_get_sender(message);
            static_cast<NotificationBus*>(self)->complain(
                "Distributed notification from " +
                std::string(sender ? sender : "an unknown process") + " dropped: " + problem);
        }
        return 1;
    }

    static int answer(sd_bus_message* message, void* self, sd_bus_error*) {
        auto& connection = *static_cast<NotificationBus*>(self);
        const auto* error = sd_bus_message_get_error(message);
        if (error != nullptr && !std::exchange(connection.saidRefused, true)) {
            Machine::current().console(
                std::string("The session bus does not tell of all notifications: ") +
                (error->message != nullptr ? error->message : error->name));
        }
        return 1;
    }
};

std::unique_ptr<NotificationBus> NotificationBus::join(const std::string& address,
                                                       Receiver receiver) {
    sd_bus* made = nullptr;
    if (address.empty() || sd_bus_new(&made) < 0) {
        return nullptr;
    }
    std::unique_ptr<NotificationBus> joining(new NotificationBus(made, std::move(receiver)));
    const bool started = sd_bus_set_address(made, address.c_str()) >= 0 &&
                         sd_bus_set_bus_client(made, 1) >= 0 &&
                         sd_bus_negotiate_fds(made, 0) >= 0 &&
                         sd_bus_add_filter(made, nullptr, Wire::receive, joining.get()) >= 0 &&
                         sd_bus_start(made) >= 0;
    return started ? std::move(joining) : nullptr;
}

/// Says the first of such things as it is, and of the others how many there were: for the tenth,
/// the hundredth and so on.
void NotificationBus::complain(const std::string& line) {
    if (++dropped == complaintDue) {
        complaintDue *= 10;
        Machine::current().console(
            dropped == 1 ? line : std::to_string(dropped) + " distributed notifications dropped");
    }
}

NotificationBus::~NotificationBus() { sd_bus_close_unref(bus); }

namespace {

/// So many names have a rule each; a bus without limits in its configuration takes 512 of them.
constexpr std::size_t mostRules = 100;

std::string ruleForAll() {
    return std::string("type='signal',path='") + notificationsPath + "',interface='" +
           notificationsInterface + "',member='" + postedMember + "'";
}

/// A rule of the bus quotes with apostrophes, and an apostrophe itself as a shell does.
std::string ruleForName(const std::string& name) {
    std::string quoted;
    for (const char character : name) {
        quoted += character == '\'' ? std::string("'\\''") : std::string(1, character);
    }
    return ruleForAll() + ",arg0='" + quoted + "'";
}

} // namespace

void NotificationBus::callBus(const char* method, const std::string& rule) {
    // A lost connection shows itself in process().
    sd_bus_call_method_async(bus, nullptr, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                             "org.freedesktop.DBus", method, Wire::answer, this, "s", rule.c_str());
}

void NotificationBus::watchName(const std::string& name) {
    if (watchesAll || watched.contains(name)) {
        return;
    }
    watchesAll = watched.size() == mostRules;
    if (!watchesAll) {
        watched.insert(name);
    }
    callBus("AddMatch", watchesAll ? ruleForAll() : ruleForName(name));
}

void NotificationBus::unwatchName(const std::string& name) {
    if (watched.erase(name) != 0) {
        callBus("RemoveMatch", ruleForName(name));
    }
}

bool NotificationBus::isReady() const { return sd_bus_is_ready(bus) > 0; }

NotificationBus::Sending NotificationBus::send(const Notification& notification) {
    std::uint64_t queued = 0;
    sd_bus_get_n_queued_write(bus, &queued);
    if (queued >= maximumQueuedWrites) {
        return Sending::full;
    }
    const Message message = newMessage(bus, notification);
    if (!message) {
        Machine::current().console("Distributed notification " + notification.name +
                                   " could not be written");
        return Sending::done;
    }
    return sd_bus_send(bus, message.get(), nullptr) < 0 ? Sending::lost : Sending::done;
}

NotificationBus::Processing NotificationBus::process() {
    const int result = sd_bus_process(bus, nullptr);
    return result < 0    ? Processing::lost
           : result == 0 ? Processing::nothing
                         : Processing::something;
}

bool NotificationBus::hasUnsent() const {
    std::uint64_t queued = 0;
    return sd_bus_get_n_queued_write(bus, &queued) >= 0 && queued > 0;
}

bool NotificationBus::waitForBus(std::uint64_t milliseconds) {
    std::uint64_t unread = 0;
    sd_bus_get_n_queued_read(bus, &unread);
    return unread > 0 || sd_bus_wait(bus, milliseconds * 1000) != 0;
}

void NotificationBus::settle() {
    if (isReady()) {
        sd_bus_set_method_call_timeout(bus, 1'000'000);
        sd_bus_call_method(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                           "org.freedesktop.DBus.Peer", "Ping", nullptr, nullptr, nullptr);
    }
}

int NotificationBus::fileDescriptor() const { return sd_bus_get_fd(bus); }

std::optional<std::uint32_t> NotificationBus::events() const {
    // The poll and epoll bits have the same values.
    const int wanted = sd_bus_get_events(bus);
    return wanted < 0 ? std::nullopt : std::optional(static_cast<std::uint32_t>(wanted));
}
