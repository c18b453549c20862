#include "Security/AuthorizationHelper.h"

#include "Foundation/NSLog.h"
#include "Security/AuthorizationProtocol.h"
#include "System/Machine.h"

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <system_error>

namespace {

using Scope = AuthorizationHelper::Scope;

/// polkit knows the two by their paths, and asks for each in its own words.
const char* helperFor(Scope scope) {
    return scope == Scope::files ? "/usr/libexec/tessaline/authorization-helper"
                                 : "/usr/libexec/tessaline/any-tool-helper";
}

/// How to start the helper. Empty when something for it is missing on this machine.
struct Command {
    std::string program;
    std::vector<std::string> arguments;
    int passwords = 0; // how many times the password is asked for
};

/// The program for a tool's path; says on the console when there is none.
std::string require(const std::string& tool) {
    auto program = Machine::current().programForTool(tool);
    if (program.empty()) {
        NSLog("Administrator rights need %@, which is not there", tool);
    }
    return program;
}

/// pkexec's own question on the terminal is left out: a process group in the background that reads
/// from the terminal is stopped, and the panel with it.
Command askingTheUser(const std::string& helper) {
    return {require("/usr/bin/pkexec"), {"--disable-internal-agent", helper}, 0};
}

/// sudo checks the password of the user that runs it, so for another administrator su starts it as
/// that user. -k: the password itself counts, not that it was given a moment ago.
Command withCredentials(const std::string& helper, const std::string& user) {
    // Where the superuser has a password, there need not be a sudo.
    if (user == "root") {
        return {require("/bin/su"), {"-s", "/bin/sh", "-c", "exec \"$0\"", "--", user, helper}, 1};
    }
    const auto sudo = require("/usr/bin/sudo");
    if (sudo.empty() || user == Machine::current().userName()) {
        return {sudo, {"-S", "-k", "-p", "", "--", helper}, 1};
    }
    constexpr const char* script = "exec \"$0\" -S -k -p '' -- \"$1\"";
    return {require("/bin/su"), {"-s", "/bin/sh", "-c", script, "--", user, sudo, helper}, 2};
}

/// The reading end of a pipe that holds the password that many times, a line each, and then ends.
/// It all fits into the pipe, so that nobody has to wait.
FileDescriptor pipeWithPassword(std::string_view password, int times) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {};
    }
    FileDescriptor readingEnd(ends[0]);
    const FileDescriptor writingEnd(ends[1]);
    char lineFeed = '\n';
    const std::array<iovec, 2> line{
        {{const_cast<char*>(password.data()), password.size()}, {&lineFeed, 1}}};
    for (int i = 0; i < times; ++i) {
        if (writev(writingEnd.get(), line.data(), line.size()) < 0) {
            return {};
        }
    }
    return readingEnd;
}

/// A password that could not be told from two lines, or from a shorter one, is nobody's.
bool canBeTyped(std::string_view text) {
    return text.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos;
}

/// Waits for a program that is about to end, and serves nothing meanwhile: the authorization is
/// locked.
OSStatus statusOfRefusal(LaunchedProcess& process) {
    constexpr int dismissed = 126; // pkexec's word for it
    pollfd awaited{process.exitDescriptor(), POLLIN, 0};
    while (poll(&awaited, 1, -1) < 0) {
    }
    return process.terminationStatus() == dismissed ? errAuthorizationCanceled
                                                    : errAuthorizationDenied;
}

} // namespace

std::unique_ptr<AuthorizationHelper>
AuthorizationHelper::start(Scope scope, const std::optional<Credentials>& credentials,
                           OSStatus& status) {
    status = errAuthorizationDenied;
    if (credentials && !(canBeTyped(credentials->user) && canBeTyped(credentials->password))) {
        return nullptr;
    }
    status = errAuthorizationInternal;
    const auto helper = require(helperFor(scope));
    const auto command = credentials ? withCredentials(helper, std::string(credentials->user))
                                     : askingTheUser(helper);
    std::array<int, 2> ends{-1, -1};
    if (helper.empty() || command.program.empty() ||
        socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return nullptr;
    }
    FileDescriptor ours(ends[0]);
    FileDescriptor theirs(ends[1]);
    FileDescriptor input = credentials ? pipeWithPassword(credentials->password, command.passwords)
                                       : FileDescriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
    // Who could trace this process would have its rights. Without an input the program would read
    // this one's own.
    if (!input || prctl(PR_SET_DUMPABLE, 0) != 0) {
        return nullptr;
    }
    try {
        auto process = Machine::current().launch({.launchPath = command.program,
                                                  .arguments = command.arguments,
                                                  .standardInput = input.get(),
                                                  .standardOutput = theirs.get(),
                                                  .workingDirectory = "/"});
        // From here on the other program alone holds its ends, so that its end is seen.
        theirs.reset();
        input.reset();
        if (!AuthorizationProtocol::receiveReady(ours.get())) {
            ours.reset(); // a helper that serves nobody ends, so that the wait does
            status = statusOfRefusal(*process);
            return nullptr;
        }
        status = errAuthorizationSuccess;
        return std::unique_ptr<AuthorizationHelper>(
            new AuthorizationHelper(std::move(process), std::move(ours)));
    } catch (const std::system_error&) {
        return nullptr;
    }
}

OSStatus AuthorizationHelper::execute(const std::string& path,
                                      const std::vector<std::string>& arguments,
                                      FileDescriptor* output) {
    const auto request = AuthorizationProtocol::encode(
        {.wantsOutput = output != nullptr, .path = path, .arguments = arguments});
    if (!request) {
        return errAuthorizationToolExecuteFailure;
    }
    if (!AuthorizationProtocol::sendRequest(socket.get(), *request)) {
        return errAuthorizationInternal;
    }
    auto reply = AuthorizationProtocol::receiveReply(socket.get());
    if (!reply) {
        return errAuthorizationInternal;
    }
    if (output != nullptr) {
        *output = std::move(reply->output);
    }
    return reply->status;
}

bool AuthorizationHelper::hasEnded() const {
    pollfd other{socket.get(), 0, 0};
    return poll(&other, 1, 0) != 0;
}
