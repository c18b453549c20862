// The real helper program, started the way pkexec starts it: as the superuser, by the process that
// it is to serve, with the socket as its standard output.
#pragma once

#include "Foundation/FileDescriptor.h"
#include "Foundation/Machine.h"
#include "Security/Authorization.h"
#include "Security/AuthorizationProtocol.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

/// Whether the process is gone within ten seconds of real time.
inline bool ends(pid_t process) {
    const FileDescriptor life(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd awaited{life.get(), POLLIN, 0};
    return !life || poll(&awaited, 1, 10'000) == 1;
}

struct SocketPair {
    SocketPair() {
        int ends[2] = {-1, -1};
        socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends);
        ours.reset(ends[0]);
        theirs.reset(ends[1]);
    }
    FileDescriptor ours, theirs;
};

struct LiveHelper {
    explicit LiveHelper(SocketPair pair = {}) : socket(std::move(pair.ours)) {
        process = Machine::current().launch({.launchPath = TOOLS_DIRECTORY "/authorization-helper",
                                             .standardOutput = pair.theirs.get()});
        pair.theirs.reset();
        isReady = AuthorizationProtocol::receiveReady(socket.get());
    }
    /// The answer's status; errAuthorizationInternal when the helper is gone.
    OSStatus send(const std::string& packet) const {
        AuthorizationProtocol::sendRequest(socket.get(), packet);
        const auto reply = AuthorizationProtocol::receiveReply(socket.get());
        return reply ? reply->status : errAuthorizationInternal;
    }
    OSStatus run(const std::string& tool, const std::vector<std::string>& arguments) const {
        return send(*AuthorizationProtocol::encode({false, tool, arguments}));
    }

    FileDescriptor socket;
    bool isReady = false;
    std::unique_ptr<LaunchedProcess> process;
};
