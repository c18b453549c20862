#include "Shared/QVAuthorization.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"
#include "Shared/QVLocalPaths.h"
#include "Shared/QVLog.h"
#include "Shared/QVTask.h"
#include "Shared/QVTrashNames.h"
#include "System/Machine.h"

#include <cstring>

QVAuthorization* QVAuthorization::sharedAuth = nullptr;

namespace {

constexpr OSStatus noRights = -1;
constexpr OSStatus noSuchTool = -2;

AuthorizationRights adminRight() { return {{kAuthorizationRightExecute, {}, 0}}; }

/// The monitor on the class.
std::recursive_mutex& classMutex() {
    static std::recursive_mutex mutex;
    return mutex;
}

bool isSuperuser() { return Machine::current().realUserID() == 0; }

bool fileExists(const std::string& path) {
    return NSFileManager::defaultManager().fileExistsAtPath(path);
}

bool toolExists(const std::string& path) {
    return fileExists(path) || !Machine::current().programForTool(path).empty();
}

/// Whether the path may be touched; if not, `message` says so on the console.
bool passesGuard(const std::string& path, const char* message) {
    if (QVLocalPaths::isPathSystemDirectory(path, true)) {
        NSLog(message, path);
        return false;
    }
    return true;
}

/// Whether both paths of an operation were given; if not, the console hears which was not.
bool bothGiven(const char* operation, const std::optional<std::string>& path,
               const std::optional<std::string>& destination) {
    if (!path) {
        NSLog("Error in %@: old path is null", operation);
    } else if (!destination) {
        NSLog("Error in %@: new path is null", operation);
    }
    return path && destination;
}

/// Tries `operation` on every entry of the folder. Whether all succeeded.
template <class Operation>
bool forEveryEntry(const std::string& folder, const Operation& operation) {
    bool all = true;
    const auto entries = NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder);
    for (const auto& entry : entries.value_or(std::vector<std::string>{})) {
        all = operation(entry) && all;
    }
    return all;
}

/// Clears a text's memory when it goes.
class Wiper {
public:
    explicit Wiper(std::optional<std::string>& text) : text(text) {}
    ~Wiper() {
        if (text) {
            explicit_bzero(text->data(), text->capacity());
        }
    }
    Wiper(const Wiper&) = delete;
    Wiper& operator=(const Wiper&) = delete;

private:
    std::optional<std::string>& text;
};

} // namespace

QVAuthorization& QVAuthorization::sharedController() { return sharedController(true); }

QVAuthorization& QVAuthorization::sharedController(bool withGUI) {
    const std::lock_guard lock(classMutex());
    if (sharedAuth == nullptr) {
        allocWithZone()->initWithGUI(withGUI);
    }
    return *sharedAuth;
}

QVAuthorization* QVAuthorization::allocWithZone() {
    const std::lock_guard lock(classMutex());
    if (sharedAuth != nullptr) {
        return nullptr;
    }
    sharedAuth = new QVAuthorization;
    return sharedAuth;
}

QVAuthorization& QVAuthorization::init() { return initWithGUI(true); }

QVAuthorization& QVAuthorization::initWithoutGUI() { return initWithGUI(false); }

QVAuthorization& QVAuthorization::initWithGUI(bool flag) {
    mayShowDialog = flag;
    heldRef = nullptr;
    AuthorizationRef inherited = nullptr;
    if (AuthorizationCopyPrivilegedReference(&inherited, kAuthorizationFlagDefaults) ==
            errAuthorizationSuccess &&
        inherited != nullptr) {
        heldRef = inherited;
    }
    if (!isSuperuser()) {
        userDirectory = QVLocalPaths::userDirectory();
    }
    return *this;
}

QVAuthorization::~QVAuthorization() { authEnd(); }

bool QVAuthorization::authStart() {
    const std::lock_guard lock(asking);
    dropLapsedRights();
    if (isAuthorized()) {
        return true;
    }
    if (!mayShowDialog) {
        NSLog("Unable to authorize");
        return false;
    }
    // Other threads see the authorization only once it holds the right.
    AuthorizationRef created = nullptr;
    if (AuthorizationCreate(nullptr, nullptr, kAuthorizationFlagDefaults, &created) !=
        errAuthorizationSuccess) {
        return false;
    }
    constexpr AuthorizationFlags flags = kAuthorizationFlagInteractionAllowed |
                                         kAuthorizationFlagExtendRights |
                                         kAuthorizationFlagPreAuthorize;
    if (AuthorizationCopyRights(created, adminRight(), nullptr, flags) != errAuthorizationSuccess) {
        AuthorizationFree(created, kAuthorizationFlagDefaults);
        return false;
    }
    heldRef = created;
    return true;
}

bool QVAuthorization::authStartWithUser(std::optional<std::string> user,
                                        std::optional<std::string> password) {
    const Wiper wiper(password);
    const std::lock_guard lock(asking);
    if (isSuperuser()) {
        return true;
    }
    if (!user || !password) {
        return false;
    }
    replaceAuthRef(nullptr);
    const AuthorizationEnvironment environment{
        {kAuthorizationEnvironmentUsername, *user, 0},
        {kAuthorizationEnvironmentPassword, *password, 0},
    };
    AuthorizationRef created = nullptr;
    const auto status =
        AuthorizationCreate(nullptr, &environment, kAuthorizationFlagDefaults, &created);
    if (status != errAuthorizationSuccess) {
        NSLog("Unable to create authRef - error %d", status);
        return false;
    }
    constexpr AuthorizationFlags flags =
        kAuthorizationFlagExtendRights | kAuthorizationFlagPreAuthorize;
    if (AuthorizationCopyRights(created, adminRight(), &environment, flags) !=
        errAuthorizationSuccess) {
        AuthorizationFree(created, kAuthorizationFlagDefaults);
        constexpr const char* message = "Authorization failed. Invalid username or password";
        NSLog(message);
        QVLog::appendLog(message);
        return false;
    }
    replaceAuthRef(created);
    return true;
}

void QVAuthorization::dropLapsedRights() {
    const AuthorizationRef held = heldRef;
    if (held != nullptr &&
        AuthorizationCopyRights(held, adminRight(), nullptr, kAuthorizationFlagDefaults) ==
            errAuthorizationDenied) {
        replaceAuthRef(nullptr);
    }
}

void QVAuthorization::replaceAuthRef(AuthorizationRef ref) {
    if (const AuthorizationRef old = heldRef.exchange(ref)) {
        AuthorizationFree(old, kAuthorizationFlagDefaults);
    }
}

void QVAuthorization::authEnd() {
    if (isSuperuser()) {
        heldRef = nullptr;
    } else {
        replaceAuthRef(nullptr);
    }
}

bool QVAuthorization::isAuthorized() const { return isSuperuser() || heldRef != nullptr; }

bool QVAuthorization::canAuthorize() const { return isSuperuser() || mayShowDialog; }

OSStatus QVAuthorization::authExecTask(const std::string& path,
                                       const std::vector<std::string>& parameters, bool async) {
    if (!toolExists(path)) {
        NSLog("Unable to execute task: path %@ doesn't exist", path);
        return noSuchTool;
    }
    if (isSuperuser()) {
        if (async) {
            QVTask::runTaskAndReturn(path, parameters);
        } else {
            QVTask::runTask(path, parameters);
        }
        return errAuthorizationSuccess;
    }
    if (!authStart()) {
        return noRights;
    }
    // A tool that nobody waits for writes to nobody: with a stream it could fill the pipe and stop.
    AuthorizationStream output;
    const auto status = AuthorizationExecuteWithPrivileges(
        heldRef, path, kAuthorizationFlagDefaults, parameters, async ? nullptr : &output);
    while (output && std::getc(output.get()) != EOF) {
    }
    return status;
}

OSStatus QVAuthorization::authExecTask(const std::string& path,
                                       const std::vector<std::string>& parameters) {
    return authExecTask(path, parameters, true);
}

bool QVAuthorization::runPrivileged(const std::string& tool,
                                    const std::vector<std::string>& arguments) {
    if (isSuperuser()) {
        QVTask::runTaskAndReturn(tool, arguments);
        return true;
    }
    return authExecTask(tool, arguments) == errAuthorizationSuccess;
}

bool QVAuthorization::authCopyFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& destination) {
    return bothGiven("authCopyFile", path, destination) && fileExists(*path) &&
           runPrivileged("/bin/cp", {"-f", "-p", "-R", *path, *destination});
}

bool QVAuthorization::authMoveFile(const std::optional<std::string>& path,
                                   const std::optional<std::string>& destination) {
    return bothGiven("authMoveFile", path, destination) &&
           passesGuard(*path, "Unable to move path %@ because it is a system directory.") &&
           fileExists(*path) && runPrivileged("/bin/mv", {"-f", *path, *destination});
}

bool QVAuthorization::authMoveFolderContents(const std::string& folder,
                                             const std::string& destination) {
    return passesGuard(folder,
                       "Unable to move contents of path %@ because it is a system directory.") &&
           forEveryEntry(folder, [&](const std::string& entry) {
               return authMoveFile(stringByAppendingPathComponent(folder, entry),
                                   stringByAppendingPathComponent(destination, entry));
           });
}

bool QVAuthorization::authTrashFile(const std::string& path, bool deleteOnRootAccount) {
    if (!passesGuard(path, "Unable to trash path %@ because it is a system directory.")) {
        return false;
    }
    return isSuperuser() && deleteOnRootAccount ? authRemoveFile(path) : moveToTrash(path);
}

bool QVAuthorization::authTrashFolderContents(const std::string& folder, bool deleteOnRootAccount) {
    if (!passesGuard(folder, "Unable to trash folder contents of path %@ because it is a system "
                             "directory.")) {
        return false;
    }
    const bool deletes = isSuperuser() && deleteOnRootAccount;
    return forEveryEntry(folder, [&](const std::string& entry) {
        const auto path = stringByAppendingPathComponent(folder, entry);
        return deletes ? authExecTask("/bin/rm", {"-R", "-f", path}) == errAuthorizationSuccess
                       : authTrashFile(path);
    });
}

bool QVAuthorization::moveToTrash(const std::string& path) {
    // The trash folder is made only for a move that will be tried.
    if (!fileExists(path) || !authStart()) {
        return false;
    }
    const auto trash = QVLocalPaths::trashDirectory();
    NSFileManager::defaultManager().createDirectoryAtPath(trash);
    return authMoveFile(path, QVTrashNames::shared().take(path, trash));
}

bool QVAuthorization::authRemoveFile(const std::string& path) {
    return passesGuard(path, "Unable to delete path %@ because it is a system directory.") &&
           authExecTask("/bin/rm", {"-Rdf", path}) == errAuthorizationSuccess;
}

bool QVAuthorization::authCreateDir(const std::string& path) {
    constexpr std::chrono::microseconds pause{500};
    const bool started = runPrivileged("/bin/mkdir", {"-p", path});
    if (started && !isSuperuser()) {
        Machine::current().clock().sleepFor(pause);
    }
    return started;
}
