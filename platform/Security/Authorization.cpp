#include "Security/Authorization.h"

#include "Security/AuthorizationHelper.h"
#include "Security/AuthorizationProtocol.h"
#include "System/FileDescriptor.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <system_error>
#include <unistd.h>

/// One authorization. Its helper, where it has one, is asked one thing at a time.
class AuthorizationOpaqueRef {
public:
    /// The rights of this process itself count as administrator rights.
    void allowOwnRights() { ownRights = true; }

    OSStatus copyRights(const std::optional<AuthorizationHelper::Credentials>& credentials,
                        AuthorizationFlags flags);
    OSStatus execute(const std::string& path, const std::vector<std::string>& arguments,
                     FileDescriptor* output);

private:
    using Scope = AuthorizationHelper::Scope;
    using Helper = std::unique_ptr<AuthorizationHelper>;

    OSStatus obtain(Scope scope,
                    const std::optional<AuthorizationHelper::Credentials>& credentials);
    OSStatus executeWithin(Scope scope, const std::string& path,
                           const std::vector<std::string>& arguments, FileDescriptor* output);
    Helper& helperFor(Scope scope) { return scope == Scope::files ? files : anyTool; }

    std::mutex mutex;
    bool ownRights = false;
    bool mayAsk = false;
    Helper files;
    Helper anyTool;
};

namespace {

using Credentials = AuthorizationHelper::Credentials;

/// What the references stand for. A reference that was freed is no longer in here, and an operation
/// under way keeps what it works with. Never destroyed: threads may ask until the process ends.
class Authorizations {
public:
    static Authorizations& all() {
        static auto& authorizations = *new Authorizations;
        return authorizations;
    }
    AuthorizationRef add(std::shared_ptr<AuthorizationOpaqueRef> authorization) {
        const std::lock_guard lock(mutex);
        const auto ref = authorization.get();
        known[ref] = std::move(authorization);
        return ref;
    }
    std::shared_ptr<AuthorizationOpaqueRef> find(AuthorizationRef ref) {
        const std::lock_guard lock(mutex);
        const auto entry = known.find(ref);
        return entry == known.end() ? nullptr : entry->second;
    }
    std::shared_ptr<AuthorizationOpaqueRef> remove(AuthorizationRef ref) {
        const std::lock_guard lock(mutex);
        auto entry = known.extract(ref);
        return entry ? std::move(entry.mapped()) : nullptr;
    }

private:
    std::mutex mutex;
    std::map<AuthorizationRef, std::shared_ptr<AuthorizationOpaqueRef>> known;
};

bool isWellFormed(const AuthorizationItemSet* set) {
    return set == nullptr || std::all_of(set->begin(), set->end(), [](const auto& item) {
               if (item.name.empty()) {
                   return false;
               }
               return item.name == kAuthorizationEnvironmentUsername
                          ? item.value.size() <= AuthorizationHelper::maximumUser
                          : item.value.size() <= AuthorizationHelper::maximumPassword;
           });
}

std::optional<Credentials> credentialsIn(const AuthorizationEnvironment* environment) {
    std::optional<std::string_view> user;
    std::optional<std::string_view> password;
    if (environment != nullptr) {
        for (const auto& item : *environment) {
            if (item.name == kAuthorizationEnvironmentUsername) {
                user = item.value;
            } else if (item.name == kAuthorizationEnvironmentPassword) {
                password = item.value;
            }
        }
    }
    return user && password ? std::optional(Credentials{*user, *password}) : std::nullopt;
}

OSStatus launchAsThisUser(const std::string& path, const std::vector<std::string>& arguments,
                          FileDescriptor* output) {
    std::array<int, 2> ends{-1, -1};
    if (output != nullptr && pipe2(ends.data(), O_CLOEXEC) != 0) {
        return errAuthorizationToolExecuteFailure;
    }
    FileDescriptor readingEnd(ends[0]);
    const FileDescriptor writingEnd(ends[1]);
    const FileDescriptor null(open("/dev/null", O_RDONLY | O_CLOEXEC));
    try {
        Machine::current().launch({.launchPath = path,
                                   .arguments = arguments,
                                   .standardInput = null.get(),
                                   .standardOutput = writingEnd.get()});
    } catch (const std::system_error&) {
        return errAuthorizationToolExecuteFailure;
    }
    if (output != nullptr) {
        *output = std::move(readingEnd);
    }
    return errAuthorizationSuccess;
}

} // namespace

OSStatus AuthorizationOpaqueRef::obtain(Scope scope,
                                        const std::optional<Credentials>& credentials) {
    switch (Machine::current().authorizationMode()) {
    case AuthorizationMode::grant:
        ownRights = true;
        return errAuthorizationSuccess;
    case AuthorizationMode::deny:
        return errAuthorizationDenied;
    case AuthorizationMode::system:
        break;
    }
    OSStatus status = errAuthorizationInternal;
    helperFor(scope) = AuthorizationHelper::start(scope, credentials, status);
    return status;
}

OSStatus AuthorizationOpaqueRef::copyRights(const std::optional<Credentials>& credentials,
                                            AuthorizationFlags flags) {
    const std::lock_guard lock(mutex);
    for (auto* helper : {&files, &anyTool}) {
        if (*helper && (*helper)->hasEnded()) {
            helper->reset(); // nobody asked it for long
        }
    }
    if (ownRights || files || anyTool) {
        return errAuthorizationSuccess;
    }
    if ((flags & kAuthorizationFlagExtendRights) == 0) {
        return errAuthorizationDenied;
    }
    mayAsk = !credentials && (flags & kAuthorizationFlagInteractionAllowed) != 0;
    // A password is not asked for twice.
    return credentials ? obtain(Scope::anyTool, credentials)
           : mayAsk    ? obtain(Scope::files, std::nullopt)
                       : errAuthorizationInteractionNotAllowed;
}

OSStatus AuthorizationOpaqueRef::execute(const std::string& path,
                                         const std::vector<std::string>& arguments,
                                         FileDescriptor* output) {
    const std::lock_guard lock(mutex);
    if (anyTool && !files) {
        return executeWithin(Scope::anyTool, path, arguments, output);
    }
    const auto status = executeWithin(Scope::files, path, arguments, output);
    return status == errAuthorizationDenied && files
               ? executeWithin(Scope::anyTool, path, arguments, output)
               : status;
}

OSStatus AuthorizationOpaqueRef::executeWithin(Scope scope, const std::string& path,
                                               const std::vector<std::string>& arguments,
                                               FileDescriptor* output) {
    auto& helper = helperFor(scope);
    if (!ownRights && !helper) {
        const auto status = mayAsk ? obtain(scope, std::nullopt) : errAuthorizationDenied;
        if (status != errAuthorizationSuccess) {
            return status;
        }
    }
    if (ownRights) {
        return launchAsThisUser(path, arguments, output);
    }
    const auto status = helper->execute(path, arguments, output);
    if (status == errAuthorizationInternal) {
        helper.reset();
    }
    return status;
}

OSStatus AuthorizationCreate(const AuthorizationRights* rights,
                             const AuthorizationEnvironment* environment, AuthorizationFlags,
                             AuthorizationRef* authorization) {
    if (authorization == nullptr || !isWellFormed(rights) || !isWellFormed(environment)) {
        return errAuthorizationInvalidSet;
    }
    *authorization = Authorizations::all().add(std::make_shared<AuthorizationOpaqueRef>());
    return errAuthorizationSuccess;
}

OSStatus AuthorizationCopyRights(AuthorizationRef authorization, const AuthorizationRights& rights,
                                 const AuthorizationEnvironment* environment,
                                 AuthorizationFlags flags) {
    const auto found = Authorizations::all().find(authorization);
    if (!found) {
        return errAuthorizationInvalidRef;
    }
    if (rights.empty() || !isWellFormed(&rights) || !isWellFormed(environment)) {
        return errAuthorizationInvalidSet;
    }
    const bool known = std::all_of(rights.begin(), rights.end(), [](const auto& right) {
        return right.name == kAuthorizationRightExecute;
    });
    return known ? found->copyRights(credentialsIn(environment), flags) : errAuthorizationDenied;
}

OSStatus AuthorizationFree(AuthorizationRef authorization, AuthorizationFlags) {
    return Authorizations::all().remove(authorization) ? errAuthorizationSuccess
                                                       : errAuthorizationInvalidRef;
}

OSStatus AuthorizationExecuteWithPrivileges(AuthorizationRef authorization,
                                            const std::string& pathToTool, AuthorizationFlags,
                                            const std::vector<std::string>& arguments,
                                            AuthorizationStream* output) {
    const auto found = Authorizations::all().find(authorization);
    if (!found) {
        return errAuthorizationInvalidRef;
    }
    const auto program = Machine::current().programForTool(pathToTool);
    if (program.empty()) {
        return errAuthorizationToolExecuteFailure;
    }
    FileDescriptor readingEnd;
    const auto status = found->execute(program, arguments, output ? &readingEnd : nullptr);
    if (status == errAuthorizationSuccess && output != nullptr) {
        output->reset(fdopen(readingEnd.get(), "r"));
        if (*output) {
            readingEnd.release();
        }
    }
    return status;
}

OSStatus AuthorizationCopyPrivilegedReference(AuthorizationRef* authorization, AuthorizationFlags) {
    // Nothing is believed that a less privileged process could have said: only the superuser is
    // taken at its word, and its rights are those that it has anyway.
    const char* parent = std::getenv(AuthorizationProtocol::parentVariable);
    if (authorization == nullptr || parent == nullptr || Machine::current().realUserID() != 0 ||
        parent != std::to_string(getppid())) {
        return errAuthorizationDenied;
    }
    auto inherited = std::make_shared<AuthorizationOpaqueRef>();
    inherited->allowOwnRights();
    *authorization = Authorizations::all().add(std::move(inherited));
    return errAuthorizationSuccess;
}
