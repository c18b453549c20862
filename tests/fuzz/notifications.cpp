// Messages from the session bus, as they are on the wire.
#include "Require.h"
#include "System/FileDescriptor.h"
#include "System/NotificationBus.h"
#include "System/UTF8.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <systemd/sd-bus.h>

namespace {

void check(const NotificationBus::Notification& notification) {
    const auto isText = [](const std::string& text) {
        return isValidUTF8(text) && text.find('\0') == text.npos;
    };
    require(!notification.isTooLarge() && isText(notification.name) && isText(notification.object));
    for (const auto& [key, value] : notification.userInfo) {
        require(isText(key) && isText(value));
    }
}

int greet(sd_bus_message* message, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(message, "s", ":1.1") < 0 ? -1 : 1;
}

/// Lets in whoever joins; returns where.
std::string listenAt(int listener) {
    sockaddr_un any{};
    any.sun_family = AF_UNIX;
    socklen_t length = sizeof any.sun_family; // the kernel then chooses the name
    auto* place = reinterpret_cast<sockaddr*>(&any);
    require(bind(listener, place, length) == 0 && listen(listener, 1) == 0);
    length = sizeof any;
    require(getsockname(listener, place, &length) == 0);
    return "unix:abstract=" + std::string(any.sun_path + 1, length - sizeof any.sun_family - 1);
}

/// A bus of one client.
struct Connection {
    Connection() {
        static const FileDescriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        static const std::string address = listenAt(listener.get());
        client = NotificationBus::join(address, check);
        require(client != nullptr);
        wire = accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC);
        sd_bus_new(&server);
        require(sd_bus_set_fd(server, wire, wire) >= 0 && sd_bus_set_server(server, 1, {}) >= 0 &&
                sd_bus_add_filter(server, nullptr, greet, nullptr) >= 0 &&
                sd_bus_start(server) >= 0);
        while (!client->isReady()) {
            sd_bus_process(server, nullptr);
            client->process();
        }
    }
    ~Connection() { sd_bus_close_unref(server); } // and the wire with it
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    std::unique_ptr<NotificationBus> client;
    sd_bus* server = nullptr;
    int wire = -1;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto connection = std::make_unique<Connection>();
    // The length of its body is the message's own, or nobody would know where the next one begins.
    std::string message(reinterpret_cast<const char*>(data), size);
    std::array<std::uint32_t, 4> start{}; // of the header: the last number is its fields' length
    message.resize(std::max(size, sizeof start));
    std::memcpy(start.data(), message.data(), sizeof start);
    start[3] = std::min(start[3], static_cast<std::uint32_t>(size));
    const std::size_t header = sizeof start + (std::size_t{start[3]} + 7) / 8 * 8;
    message.resize(std::max(message.size(), header));
    start[1] = static_cast<std::uint32_t>(message.size() - header);
    std::memcpy(message.data(), start.data(), sizeof start);
    require(send(connection->wire, message.data(), message.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(message.size()));
    auto result = NotificationBus::Processing::something;
    while (result == NotificationBus::Processing::something) {
        result = connection->client->process();
    }
    if (result == NotificationBus::Processing::lost) {
        connection = std::make_unique<Connection>();
    }
    return 0;
}
