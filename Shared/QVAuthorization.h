// The one object of the process that holds administrator rights. It asks for them once, runs tools
// with them, and offers the usual file operations on top of that: copy, move, trash, delete, create
// a folder. The folders that every machine needs are refused where moving or deleting them is
// asked. A process of the superuser needs no rights: the tools run directly.
//
// Privileged tools are not waited for: an operation that returns true has started its tool. Callers
// pause where they need the result on disk. Paths are absolute. Any thread may call; a thread that
// asks for rights is blocked while the desktop's dialog is up.
#pragma once

#include "Security/Authorization.h"

#include <atomic>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

class QVAuthorization {
public:
    /// The one instance, made on first use; only the first caller decides whether it may show a
    /// dialog (without an argument: it may).
    static QVAuthorization& sharedController();
    static QVAuthorization& sharedController(bool withGUI);
    /// The instance, not initialised yet; none when there is one already.
    static QVAuthorization* allocWithZone();

    /// With or without a dialog. Adopts the rights that a privileged parent handed down.
    QVAuthorization& init();
    QVAuthorization& initWithoutGUI();

    QVAuthorization(const QVAuthorization&) = delete;
    QVAuthorization& operator=(const QVAuthorization&) = delete;
    QVAuthorization& copyWithZone() { return *this; }
    QVAuthorization& retain() { return *this; }
    QVAuthorization& autorelease() { return *this; }
    void release() {}

    AuthorizationRef authRef() const { return heldRef; }
    void setAuthRef(AuthorizationRef ref) { heldRef = ref; }
    bool hasGUI() const { return mayShowDialog; }
    void setHasGUI(bool flag) { mayShowDialog = flag; }

    /// Obtains administrator rights; at once where they are held, anew where the platform took them
    /// back after minutes without use. False when the user says no, and
    /// where there is neither a right nor a dialog.
    bool authStart();
    /// Obtains them with an administrator's name and password, without a dialog, in the place of
    /// rights already held. False for wrong or missing ones. The password's memory is wiped.
    bool authStartWithUser(std::optional<std::string> user, std::optional<std::string> password);
    /// Gives the rights back.
    void authEnd();
    bool isAuthorized() const;
    bool canAuthorize() const;

    /// Runs a tool with administrator rights, which it obtains if need be; waits for its output to
    /// end unless `async`. 0 when it was started, -1 without rights, -2 when no such tool exists,
    /// else the platform's error.
    OSStatus authExecTask(const std::string& path, const std::vector<std::string>& parameters,
                          bool async);
    OSStatus authExecTask(const std::string& path, const std::vector<std::string>& parameters);

    /// Each returns whether its tool was started. A missing source is a failure.
    bool authCopyFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& destination);
    /// Replaces what stands at the destination.
    bool authMoveFile(const std::optional<std::string>& path,
                      const std::optional<std::string>& destination);
    /// Tries every entry, also after a failure; true when all were started.
    bool authMoveFolderContents(const std::string& folder, const std::string& destination);
    /// Moves to the user's trash under a name that is free there. With `deleteOnRootAccount` the
    /// superuser deletes instead.
    bool authTrashFile(const std::string& path, bool deleteOnRootAccount = false);
    bool authTrashFolderContents(const std::string& folder, bool deleteOnRootAccount = false);
    bool authRemoveFile(const std::string& path);
    /// With any missing folders on the way.
    bool authCreateDir(const std::string& path);

protected:
    QVAuthorization() = default;
    ~QVAuthorization();

private:
    QVAuthorization& initWithGUI(bool flag);
    /// Notices that the platform took back rights that nobody made use of for minutes.
    void dropLapsedRights();
    void replaceAuthRef(AuthorizationRef ref);
    bool runPrivileged(const std::string& tool, const std::vector<std::string>& arguments);
    bool moveToTrash(const std::string& path);

    std::atomic<AuthorizationRef> heldRef = nullptr;
    std::atomic<bool> mayShowDialog = false;
    std::optional<std::string> userDirectory;

    /// Held while rights are asked for, so that two threads see one dialog.
    std::recursive_mutex asking;

    static QVAuthorization* sharedAuth;
};
