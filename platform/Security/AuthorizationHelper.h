// The helper process behind an authorization: started with the user's consent or a password, it
// runs tools as the superuser for this process until it is let go, or was not asked for five
// minutes.
#pragma once

#include "Security/Authorization.h"
#include "System/FileDescriptor.h"
#include "System/Machine.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

class AuthorizationHelper {
public:
    struct Credentials {
        std::string_view user;
        std::string_view password;
    };
    static constexpr std::size_t maximumUser = 256;
    static constexpr std::size_t maximumPassword = 511; // what PAM takes

    /// What the user is asked for: to change files, or to run any tool.
    enum class Scope { files, anyTool };

    /// Starts the helper and waits until it is ready: through pkexec, whose dialog asks the user,
    /// or through sudo with a password. The password goes through a pipe and into no memory of this
    /// class. On failure the result is none and `status` says why. Blocks its thread; any thread.
    /// From then on no other process of this user can trace this one, or have its memory.
    static std::unique_ptr<AuthorizationHelper>
    start(Scope scope, const std::optional<Credentials>& credentials, OSStatus& status);
    /// Lets the helper go, which then ends.
    ~AuthorizationHelper() = default;
    AuthorizationHelper(const AuthorizationHelper&) = delete;
    AuthorizationHelper& operator=(const AuthorizationHelper&) = delete;

    /// Has the helper start a tool by its real path. `output`, unless none, receives the reading
    /// end of the tool's standard output. One call at a time. errAuthorizationInternal when the
    /// helper is gone, errAuthorizationDenied for what is beyond its scope.
    OSStatus execute(const std::string& path, const std::vector<std::string>& arguments,
                     FileDescriptor* output);

    /// Whether it is gone.
    bool hasEnded() const;

private:
    AuthorizationHelper(std::unique_ptr<LaunchedProcess> process, FileDescriptor socket)
        : process(std::move(process)), socket(std::move(socket)) {}

    std::unique_ptr<LaunchedProcess> process;
    FileDescriptor socket;
};
