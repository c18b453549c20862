// What an authorization and its helper say to each other, over a pair of sequenced-packet sockets:
// a message is a packet. The helper says that it is ready; from then on each request is answered by
// one reply. Only the standard library is used here, since the helper runs as the superuser and
// links nothing else.
#pragma once

#include "System/FileDescriptor.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace AuthorizationProtocol {

inline constexpr std::string_view ready = "tessaline authorization helper 1";
inline constexpr std::size_t maximumRequest = 98304;
inline constexpr std::size_t maximumArguments = 1024;
/// Names, in a tool's environment, the helper process that started it.
inline constexpr const char* parentVariable = "TESSALINE_AUTHORIZATION";

struct Request {
    bool wantsOutput = false;
    std::string path; // absolute
    std::vector<std::string> arguments;
};

/// None for what cannot be sent: a path that is not absolute, a text with a zero byte in it, too
/// much of anything.
std::optional<std::string> encode(const Request& request);
/// None for everything that encode() would not have written.
std::optional<Request> decode(std::string_view bytes);

struct Reply {
    std::int32_t status = 0;
    FileDescriptor output; // of the tool, when asked for
};

/// False when the other side is gone.
bool sendReady(int socket);
bool sendReply(int socket, const Reply& reply);
bool sendRequest(int socket, const std::string& bytes);

/// Waits for the ready message and passes over whatever else is written to the socket before it,
/// since the programs on the way to the helper may print. False when the other side is gone.
bool receiveReady(int socket);
/// None when the other side is gone or talks nonsense.
std::optional<Reply> receiveReply(int socket);

struct Packet {
    std::string bytes; // none at the end of the conversation
    bool whole = false;
    pid_t sender = 0;
    uid_t user = 0;
};
/// The next packet, with the process that sent it as the kernel saw it; 0 for an unknown one. The
/// socket has to pass credentials. Descriptors sent along are dropped.
Packet receivePacket(int socket);

} // namespace AuthorizationProtocol
