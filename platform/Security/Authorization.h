// Administrator rights: asking the user for them, giving them back, and running tools with them.
//
// On a machine with its own authority (AuthorizationMode::system) the rights are a helper process
// that runs as the superuser and serves this process alone; it ends when the authorization is freed
// or this process ends. With `grant` the tools run as the current user, with `deny` every request
// is refused.
//
// Every operation may be called from any thread and returns one of the status codes below.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

using OSStatus = std::int32_t;
using AuthorizationFlags = std::uint32_t;

enum : OSStatus {
    errAuthorizationSuccess = 0,
    errAuthorizationInvalidSet = -60001,
    errAuthorizationInvalidRef = -60002,
    errAuthorizationDenied = -60005,
    errAuthorizationCanceled = -60006,
    errAuthorizationInteractionNotAllowed = -60007,
    errAuthorizationInternal = -60008,
    errAuthorizationToolExecuteFailure = -60031,
};

enum : AuthorizationFlags {
    kAuthorizationFlagDefaults = 0,
    kAuthorizationFlagInteractionAllowed = 1,
    kAuthorizationFlagExtendRights = 2,
    kAuthorizationFlagPreAuthorize = 16,
};

/// The one right that is known here: to run tools as the superuser.
inline constexpr const char* kAuthorizationRightExecute = "system.privilege.admin";
inline constexpr const char* kAuthorizationEnvironmentUsername = "username";
inline constexpr const char* kAuthorizationEnvironmentPassword = "password";

/// A right, or a piece of information for a request. The value is the caller's and is not copied.
struct AuthorizationItem {
    std::string name;
    std::string_view value;
    std::uint32_t flags = 0;
};
using AuthorizationItemSet = std::vector<AuthorizationItem>;
using AuthorizationRights = AuthorizationItemSet;
using AuthorizationEnvironment = AuthorizationItemSet;

class AuthorizationOpaqueRef;
using AuthorizationRef = AuthorizationOpaqueRef*;

struct AuthorizationStreamCloser {
    void operator()(std::FILE* stream) const { std::fclose(stream); }
};
using AuthorizationStream = std::unique_ptr<std::FILE, AuthorizationStreamCloser>;

/// Makes an authorization that holds no rights yet. `rights` and `environment` may be none; an
/// environment with an unnamed item, or with a name or password too long for any account, is
/// errAuthorizationInvalidSet, and no authorization is made.
OSStatus AuthorizationCreate(const AuthorizationRights* rights,
                             const AuthorizationEnvironment* environment, AuthorizationFlags flags,
                             AuthorizationRef* authorization);

/// Obtains the rights for the authorization. Held rights are not asked for again. With a user name
/// and a password in the environment nobody is asked: the password is that user's own, and the user
/// must be allowed to administer the machine. Otherwise, where the flags allow interaction, the
/// desktop's dialog asks, and the calling thread is blocked while it is up:
/// errAuthorizationCanceled when the user dismisses it, errAuthorizationDenied when refused.
OSStatus AuthorizationCopyRights(AuthorizationRef authorization, const AuthorizationRights& rights,
                                 const AuthorizationEnvironment* environment,
                                 AuthorizationFlags flags);

/// Gives the rights back; tools that run already go on running. The reference is invalid
/// afterwards.
OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags flags);

/// Starts a tool with the authorization's rights and returns as soon as it runs. Tools of one
/// helper run one after the other: the next one waits for the end of the one before, a second at
/// most. Its standard input and error are the null device. `output` receives a stream of its
/// standard output, which ends when the tool and whatever it started have closed it; with none, the
/// output is discarded.
///
/// The environment of the tool is a clean one. errAuthorizationToolExecuteFailure when the tool
/// cannot be run, errAuthorizationInternal when the helper is gone: the rights are gone with it,
/// and the next call asks for them again if they were had from the user.
OSStatus AuthorizationExecuteWithPrivileges(AuthorizationRef authorization,
                                            const std::string& pathToTool, AuthorizationFlags flags,
                                            const std::vector<std::string>& arguments,
                                            AuthorizationStream* output);

/// The authorization of a tool that was itself started by AuthorizationExecuteWithPrivileges:
/// running as the superuser already, it runs tools as it runs itself. errAuthorizationDenied for
/// every other process.
OSStatus AuthorizationCopyPrivilegedReference(AuthorizationRef* authorization,
                                              AuthorizationFlags flags);
