// Runs tools as the superuser for one process: the one that started this program, through pkexec or
// sudo, with a packet socket as standard output. It ends when that process closes its end or ends
// itself. The socket has no address, and the kernel names the sender of every packet, so that a
// descriptor that got into other hands is of no use there.
//
// Two programs are built of this: one changes files alone, in the ways of the panel's support
// library; the other runs any tool. The user is asked for each in its own words.
//
// It reads no file but what /proc says of its ancestors and itself, links nothing but the standard
// library, and takes nothing from its environment.

#include "FileOperations.h"
#include "Security/Authorization.h"
#include "Security/AuthorizationProtocol.h"
#include "System/ArgumentVector.h"
#include "System/ProcessDescriptor.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <linux/capability.h>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace AuthorizationProtocol;

#ifdef TESSALINE_ANY_TOOL
constexpr bool runsAnyTool = true;
#else
constexpr bool runsAnyTool = false;
#endif

/// The process that the helper works for.
struct Owner {
    pid_t process = 0;
    uid_t user = 0;
    FileDescriptor life; // readable once the process has ended
};

pid_t parentOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("PPid:")) {
            return static_cast<pid_t>(std::strtol(line.c_str() + 5, nullptr, 10));
        }
    }
    return 0;
}

/// Whether the process started this one, itself or by way of su and sudo, which stay in between.
bool hasStartedThisProgram(pid_t process) {
    constexpr int programsInBetween = 5;
    pid_t ancestor = getppid();
    for (int i = 0; i < programsInBetween && ancestor > 1 && ancestor != process; ++i) {
        ancestor = parentOf(ancestor);
    }
    return ancestor == process;
}

/// The process that made the socket pair, if it is the one that started this program.
std::optional<Owner> ownerOf(int socket) {
    ucred maker{};
    socklen_t size = sizeof maker;
    int type = 0;
    socklen_t typeSize = sizeof type;
    if (getsockopt(socket, SOL_SOCKET, SO_TYPE, &type, &typeSize) != 0 || type != SOCK_SEQPACKET ||
        getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &maker, &size) != 0 || maker.pid <= 0) {
        return std::nullopt;
    }
    // Taken before the look at the ancestors, so that the number cannot pass to another process
    // unseen.
    Owner owner{maker.pid, maker.uid, descriptorOfProcess(maker.pid)};
    return owner.life && hasStartedThisProgram(owner.process) ? std::optional(std::move(owner))
                                                              : std::nullopt;
}

/// Frees the standard descriptors for the tools and closes what else was handed down.
FileDescriptor takeSocket() {
    syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0);
    FileDescriptor socket(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null.get(), standard);
    }
    return socket;
}

void settle() {
    struct sigaction ignored {};
    ignored.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignored, nullptr);
    // Ended tools leave nothing to collect.
    ignored.sa_flags = SA_NOCLDWAIT;
    sigaction(SIGCHLD, &ignored, nullptr);
    umask(S_IWGRP | S_IWOTH);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_CORE, &none);
    [[maybe_unused]] const int changed = chdir("/");
}

/// Leaves itself and its tools what changing files takes. Any tool may take anything, and may be a
/// program that changes its user, so this is not for that helper.
bool keepToFiles() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    constexpr rlim_t memory = RLIM_INFINITY; // their shadow takes most of the address space
#else
    constexpr rlim_t memory = rlim_t{512} << 20;
#endif
    const rlimit limit{memory, memory};
    constexpr std::array<unsigned long, 5> needed{CAP_CHOWN, CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH,
                                                  CAP_FOWNER, CAP_FSETID};
    __user_cap_header_struct version{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> own{};
    for (const auto capability : needed) {
        own[0].effective = own[0].permitted |= CAP_TO_MASK(capability);
    }
    for (unsigned long capability = 0; prctl(PR_CAPBSET_READ, capability) >= 0; ++capability) {
        const bool keeps = std::find(needed.begin(), needed.end(), capability) != needed.end();
        if (!keeps && prctl(PR_CAPBSET_READ, capability) == 1 &&
            prctl(PR_CAPBSET_DROP, capability) != 0) {
            return false;
        }
    }
    // The set above bounds the tools; its own is another one.
    return syscall(SYS_capset, &version, own.data()) == 0 &&
           prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && setrlimit(RLIMIT_AS, &limit) == 0;
}

std::vector<std::string> cleanEnvironment() {
    return {"PATH=/usr/sbin:/usr/bin:/sbin:/bin",
            "HOME=/root",
            "USER=root",
            "LOGNAME=root",
            "SHELL=/bin/sh",
            "LANG=C.UTF-8",
            std::string(parentVariable) + "=" + std::to_string(getpid())};
}

/// Starts a program in a session of its own with default signal handling. Its process once it
/// runs, else 0.
pid_t spawn(const Request& request, int standardOutput) {
    std::vector<std::string> command{request.path};
    command.insert(command.end(), request.arguments.begin(), request.arguments.end());
    auto environment = cleanEnvironment();

    sigset_t every;
    sigset_t none;
    sigfillset(&every);
    sigemptyset(&none);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &every);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(
        &attributes,
        static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSID));
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (standardOutput >= 0) {
        posix_spawn_file_actions_adddup2(&actions, standardOutput, STDOUT_FILENO);
    }
    pid_t process = 0;
    const int problem =
        posix_spawn(&process, request.path.c_str(), &actions, &attributes,
                    argumentVector(command).data(), argumentVector(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    return problem == 0 ? process : 0;
}

/// The owner does not wait for a delete before it asks for the move to the same place. So a tool
/// starts when the one before it has ended, or when that has had its time.
void giveTimeTo(const FileDescriptor& tool) {
    constexpr int milliseconds = 1000;
    pollfd awaited{tool.get(), POLLIN, 0};
    while (tool && poll(&awaited, 1, milliseconds) < 0) {
    }
}

/// Starts a tool after the last one, and puts itself in that one's place.
Reply run(const Request& request, FileDescriptor& lastTool) {
    std::array<int, 2> ends{-1, -1};
    if (request.wantsOutput && pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {errAuthorizationToolExecuteFailure, {}};
    }
    FileDescriptor readingEnd(ends[0]);
    const FileDescriptor writingEnd(ends[1]);
    giveTimeTo(lastTool);
    const auto process = spawn(request, writingEnd.get());
    if (process == 0) {
        return {errAuthorizationToolExecuteFailure, {}};
    }
    lastTool = descriptorOfProcess(process);
    return {errAuthorizationSuccess, std::move(readingEnd)};
}

/// Readable once the owner has said nothing for five minutes, with the machine asleep or not.
FileDescriptor idleTimer() { return FileDescriptor(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC)); }

bool restart(const FileDescriptor& idle) {
    constexpr itimerspec limit{{0, 0}, {5 * 60, 0}};
    return timerfd_settime(idle.get(), 0, &limit, nullptr) == 0;
}

/// Waits for the owner to say something. False when it is gone, or has said nothing for long.
bool waitForPacket(int socket, const Owner& owner, const FileDescriptor& idle) {
    std::array<pollfd, 3> awaited{
        {{socket, POLLIN, 0}, {owner.life.get(), POLLIN, 0}, {idle.get(), POLLIN, 0}}};
    if (!restart(idle)) {
        return false;
    }
    while (poll(awaited.data(), awaited.size(), -1) < 0) {
    }
    return awaited[1].revents == 0 && awaited[2].revents == 0;
}

std::string ownFolder() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).parent_path().string();
}

Reply answerTo(const Request& request, FileDescriptor& lastTool) {
    static const auto ownTools = ownFolder();
    return runsAnyTool || isFileOperation(request, ownTools) ? run(request, lastTool)
                                                             : Reply{errAuthorizationDenied, {}};
}

/// A thousand requests a second, far more than any panel has: who floods, waits.
void keepPace(std::chrono::steady_clock::time_point& next) {
    std::this_thread::sleep_until(next);
    next = std::chrono::steady_clock::now() + std::chrono::milliseconds(1);
}

void serve(int socket, const Owner& owner, const FileDescriptor& idle) {
    FileDescriptor lastTool;
    std::chrono::steady_clock::time_point next;
    while (waitForPacket(socket, owner, idle)) {
        const auto packet = receivePacket(socket);
        if (packet.bytes.empty() || packet.sender != owner.process || packet.user != owner.user) {
            return;
        }
        keepPace(next);
        const auto request = packet.whole ? decode(packet.bytes) : std::nullopt;
        if (!sendReply(socket, request ? answerTo(*request, lastTool)
                                       : Reply{errAuthorizationInvalidSet, {}})) {
            return;
        }
    }
}

} // namespace

int main() {
    const auto socket = takeSocket();
    const auto owner = ownerOf(socket.get());
    if (!owner || geteuid() != 0) {
        return EXIT_FAILURE;
    }
    settle();
    const auto idle = idleTimer();
    constexpr int on = 1;
    if (!(runsAnyTool || keepToFiles()) ||
        setsockopt(socket.get(), SOL_SOCKET, SO_PASSCRED, &on, sizeof on) != 0 ||
        !sendReady(socket.get())) {
        return EXIT_FAILURE;
    }
    serve(socket.get(), *owner, idle);
    return EXIT_SUCCESS;
}
