// Notifications from the session bus: a signature up to a zero byte, then the message's body.
#include "Require.h"
#include "System/FileDescriptor.h"
#include "System/NotificationBus.h"
#include "System/UTF8.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

namespace {

using Notification = NotificationBus::Notification;

/// Lets in who joins, and then sends whatever it is told to.
class Bus {
public:
    Bus() : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un any{};
        any.sun_family = AF_UNIX;
        socklen_t length = sizeof any.sun_family; // the kernel then chooses the name
        auto* place = reinterpret_cast<sockaddr*>(&any);
        require(bind(listener.get(), place, length) == 0 && listen(listener.get(), 1) == 0);
        length = sizeof any;
        require(getsockname(listener.get(), place, &length) == 0);
        const std::string name(any.sun_path + 1, length - sizeof any.sun_family - 1);
        client = NotificationBus::join("unix:abstract=" + name, check);
        require(client != nullptr);
        connection.reset(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        sd_bus_new(&server);
        require(sd_bus_set_fd(server, connection.get(), connection.get()) >= 0 &&
                sd_bus_set_server(server, 1, {}) >= 0 &&
                sd_bus_add_filter(server, nullptr, greet, nullptr) >= 0 &&
                sd_bus_start(server) >= 0);
        while (!client->isReady()) {
            sd_bus_process(server, nullptr);
            client->process();
        }
    }
    ~Bus() {
        connection.release(); // the bus closes it
        sd_bus_close_unref(server);
    }
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// False once the connection is lost.
    bool send(const std::string& message) {
        require(::send(connection.get(), message.data(), message.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(message.size()));
        auto result = NotificationBus::Processing::something;
        while (result == NotificationBus::Processing::something) {
            result = client->process();
        }
        return result != NotificationBus::Processing::lost;
    }

private:
    static int greet(sd_bus_message* message, void*, sd_bus_error*) {
        return sd_bus_reply_method_return(message, "s", ":1.1") < 0 ? -1 : 1;
    }

    static void check(const Notification& notification) {
        const auto isText = [](const std::string& text) {
            return isValidUTF8(text) && text.find('\0') == text.npos;
        };
        require(!notification.isTooLarge() && isText(notification.name) &&
                isText(notification.object));
        for (const auto& [key, value] : notification.userInfo) {
            require(isText(key) && isText(value));
        }
    }

    FileDescriptor listener, connection;
    std::unique_ptr<NotificationBus> client;
    sd_bus* server = nullptr;
};

void align(std::string& bytes, std::size_t to) { bytes.resize((bytes.size() + to - 1) / to * to); }

void addNumber(std::string& bytes, std::size_t number) {
    align(bytes, 4);
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(number >> shift);
    }
}

/// A signal as it is on the wire, the header in order.
std::string signalWith(const std::string& signature, const std::string& body) {
    static std::size_t serial = 1;
    std::string bytes = {'l', 4, 1, 1}; // little-endian, a signal without a reply, version 1
    addNumber(bytes, body.size());
    addNumber(bytes, ++serial);
    const auto lengthAt = bytes.size();
    addNumber(bytes, 0);
    const auto start = bytes.size();
    const auto addField = [&](char field, char type, const std::string& text) {
        align(bytes, 8);
        bytes += {field, 1, type, '\0'};
        if (type == 'g') {
            bytes += static_cast<char>(text.size());
        } else {
            addNumber(bytes, text.size());
        }
        bytes += text + '\0';
    };
    addField(1, 'o', "/com/quorvane/DistributedNotifications");
    addField(2, 's', "com.quorvane.DistributedNotifications");
    addField(3, 's', "Posted");
    addField(8, 'g', signature);
    std::string length;
    addNumber(length, bytes.size() - start);
    bytes.replace(lengthAt, length.size(), length);
    align(bytes, 8);
    return bytes + body;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto bus = std::make_unique<Bus>();
    const std::string input(reinterpret_cast<const char*>(data), size);
    const auto end = input.find('\0');
    if (end == input.npos || end > 255) {
        return 0;
    }
    if (!bus->send(signalWith(input.substr(0, end), input.substr(end + 1)))) {
        bus = std::make_unique<Bus>();
    }
    return 0;
}
