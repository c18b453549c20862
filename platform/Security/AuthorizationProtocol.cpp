#include "Security/AuthorizationProtocol.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

namespace AuthorizationProtocol {

namespace {

// A request is its version, then whether output is wanted, then the tool's path and the arguments,
// each followed by a zero byte.
constexpr char version = '1';
constexpr char withOutput = 'o';
constexpr char withoutOutput = '-';
constexpr std::size_t headerSize = 2;

struct ReplyBytes {
    std::array<char, 4> magic{'T', 'A', 'H', '1'};
    std::int32_t status = 0;
};

bool sendBytes(int socket, std::string_view bytes) {
    ssize_t sent = 0;
    do {
        sent = send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(bytes.size());
}

/// One packet on its way, with what comes beside its bytes.
struct Message {
    Message(void* bytes, std::size_t size) : vector{bytes, size} {
        header.msg_iov = &vector;
        header.msg_iovlen = 1;
    }
    template <class Control>
    void attach(Control& control) {
        header.msg_control = control.data();
        header.msg_controllen = control.size();
    }
    ssize_t receive(int socket) {
        ssize_t size = 0;
        do {
            size = recvmsg(socket, &header, MSG_CMSG_CLOEXEC);
        } while (size < 0 && errno == EINTR);
        return size;
    }

    iovec vector;
    msghdr header{};
};

/// All that came, so that none stays open.
std::vector<FileDescriptor> descriptorsOf(const msghdr& header) {
    std::vector<FileDescriptor> all;
    const cmsghdr* rights = CMSG_FIRSTHDR(&header);
    if (rights == nullptr || rights->cmsg_type != SCM_RIGHTS) {
        return all;
    }
    for (std::size_t place = CMSG_LEN(0); place + sizeof(int) <= rights->cmsg_len;
         place += sizeof(int)) {
        int descriptor = -1;
        std::memcpy(&descriptor, reinterpret_cast<const char*>(rights) + place, sizeof descriptor);
        all.emplace_back(descriptor);
    }
    return all;
}

} // namespace

std::optional<std::string> encode(const Request& request) {
    std::string bytes{version, request.wantsOutput ? withOutput : withoutOutput};
    const auto append = [&bytes](const std::string& text) {
        bytes += text;
        bytes += '\0';
        return text.find('\0') == std::string::npos;
    };
    const bool clean = append(request.path) &&
                       std::all_of(request.arguments.begin(), request.arguments.end(), append);
    const bool fits =
        bytes.size() <= maximumRequest && request.arguments.size() <= maximumArguments;
    return clean && fits && request.path.starts_with('/') ? std::optional(bytes) : std::nullopt;
}

std::optional<Request> decode(std::string_view bytes) {
    if (bytes.size() <= headerSize || bytes.size() > maximumRequest || bytes[0] != version ||
        (bytes[1] != withOutput && bytes[1] != withoutOutput) || bytes[headerSize] != '/' ||
        bytes.back() != '\0') {
        return std::nullopt;
    }
    Request request;
    request.wantsOutput = bytes[1] == withOutput;
    bytes.remove_prefix(headerSize);
    const auto next = [&bytes] {
        const auto end = bytes.find('\0');
        std::string text(bytes.substr(0, end));
        bytes.remove_prefix(end + 1);
        return text;
    };
    request.path = next();
    while (!bytes.empty()) {
        if (request.arguments.size() == maximumArguments) {
            return std::nullopt;
        }
        request.arguments.push_back(next());
    }
    return request;
}

bool sendReady(int socket) { return sendBytes(socket, ready); }

bool sendRequest(int socket, const std::string& bytes) { return sendBytes(socket, bytes); }

bool sendReply(int socket, const Reply& reply) {
    ReplyBytes bytes{.status = reply.status};
    Message message(&bytes, sizeof bytes);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    if (reply.output) {
        message.attach(control);
        cmsghdr* rights = CMSG_FIRSTHDR(&message.header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof(int));
        const int descriptor = reply.output.get();
        std::memcpy(CMSG_DATA(rights), &descriptor, sizeof descriptor);
    }
    // A side that asks on and on without listening to the answers is not worth waiting for.
    const auto sent = sendmsg(socket, &message.header, MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent == static_cast<ssize_t>(sizeof bytes);
}

bool receiveReady(int socket) {
    std::array<char, 4096> bytes{};
    for (;;) {
        Message message(bytes.data(), bytes.size());
        const auto size = message.receive(socket);
        if (size <= 0) {
            return false;
        }
        if (std::string_view(bytes.data(), static_cast<std::size_t>(size)) == ready) {
            return true;
        }
    }
}

std::optional<Reply> receiveReply(int socket) {
    ReplyBytes bytes;
    const auto magic = bytes.magic;
    Message message(&bytes, sizeof bytes);
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    message.attach(control);
    const auto size = message.receive(socket);
    Reply reply;
    auto descriptors = size > 0 ? descriptorsOf(message.header) : std::vector<FileDescriptor>();
    if (descriptors.size() == 1) {
        reply.output = std::move(descriptors.front());
    }
    if (size != static_cast<ssize_t>(sizeof bytes) || bytes.magic != magic) {
        return std::nullopt;
    }
    reply.status = bytes.status;
    return reply;
}

Packet receivePacket(int socket) {
    // Room for the sender's credentials and for nothing else: the kernel closes what does not fit.
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(ucred))> control{};
    Packet packet;
    packet.bytes.resize(maximumRequest);
    Message message(packet.bytes.data(), packet.bytes.size());
    message.attach(control);
    const auto size = message.receive(socket);
    packet.bytes.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    packet.whole = (message.header.msg_flags & MSG_TRUNC) == 0;
    const cmsghdr* sender = size > 0 ? CMSG_FIRSTHDR(&message.header) : nullptr;
    if (sender != nullptr && sender->cmsg_type == SCM_CREDENTIALS) {
        ucred credentials{};
        std::memcpy(&credentials, CMSG_DATA(sender), sizeof credentials);
        packet.sender = credentials.pid;
        packet.user = credentials.uid;
    }
    return packet;
}

} // namespace AuthorizationProtocol
