// The real helper program, started the way pkexec starts it: as the superuser, by the process that
// it is to serve, with the socket as its standard output.
#pragma once

#include "Foundation/FileDescriptor.h"
#include "Foundation/Machine.h"
#include "Security/Authorization.h"
#include "Security/AuthorizationProtocol.h"

#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

inline std::pair<FileDescriptor, FileDescriptor> socketPair() {
    int ends[2] = {-1, -1};
    socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
    return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

/// Whether the process is gone within ten seconds of real time.
inline bool ends(pid_t process) {
    const FileDescriptor life(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd awaited{life.get(), POLLIN, 0};
    return !life || poll(&awaited, 1, 10'000) == 1;
}

class LiveHelper {
public:
    explicit LiveHelper(std::pair<FileDescriptor, FileDescriptor> pair = socketPair())
        : socket(std::move(pair.first)) {
        process = Machine::current().launch({.launchPath = TOOLS_DIRECTORY "/authorization-helper",
                                             .arguments = {},
                                             .standardOutput = pair.second.get(),
                                             .workingDirectory = {}});
        pair.second.reset();
        isReady = AuthorizationProtocol::receiveReady(socket.get());
    }

    /// The answer's status; errAuthorizationInternal when the helper is gone.
    OSStatus send(const std::string& packet) const {
        if (!AuthorizationProtocol::sendRequest(socket.get(), packet)) {
            return errAuthorizationInternal;
        }
        const auto reply = AuthorizationProtocol::receiveReply(socket.get());
        return reply ? reply->status : errAuthorizationInternal;
    }
    OSStatus run(const std::string& tool, const std::vector<std::string>& arguments) const {
        return send(*AuthorizationProtocol::encode(
            {.wantsOutput = false, .path = tool, .arguments = arguments}));
    }
    pid_t processIdentifier() const { return process->processIdentifier(); }

    FileDescriptor socket;
    bool isReady = false;

private:
    std::unique_ptr<LaunchedProcess> process;
};
