// Where things live: the standard folders of the user and of the machine, the temporary folder, who
// the user is, and two tests on paths. In a process that runs as the superuser the user meant is
// the one at the console. Paths are absolute, without a trailing separator. Nothing here keeps
// state, changes anything or reports an error; every operation may be called from any thread.
#pragma once

#include "Foundation/NSPathUtilities.h"

#include <optional>
#include <string>

class QVLocalPaths {
public:
    using Path = std::optional<std::string>;

    QVLocalPaths() = delete;

    /// The first folder of a kind in the domains of a mask (user 1, local 2, system 8); none when
    /// there is none. For the superuser a folder of the user domain is the console user's.
    static Path pathForDirectory(NSSearchPathDirectory directory, unsigned domainMask);

    // Folders in the user's home, or for `user` false the ones that all users share.
    static Path applicationDirectory(bool user);
    static Path adminApplicationDirectory(bool user);
    static Path documentDirectory(bool user); // none are shared
    static Path libraryDirectory(bool user);
    static Path prefsDirectory(bool user);
    static Path cacheDirectory(bool user);
    static Path appSupportDirectory(bool user);
    static Path logDirectory(bool user);

    static Path desktopDirectory();
    static Path systemLibraryDirectory();
    static Path localDocumentationDirectory();
    static std::string movieDirectory();
    static std::string trashDirectory();
    /// The user's home.
    static std::string userDirectory();

    /// Short name of the user. None for the superuser while nobody is logged in at the console.
    static std::optional<std::string> username();
    /// Short name of the user who is logged in at the console; none at the login window.
    static std::optional<std::string> currentConsoleUser();

    /// The user's own folder for temporary files. Raises when it cannot be had safely.
    static std::string tempDirectory();
    /// A text that no other call ever gives.
    static std::string uuid();
    /// A fresh path in the temporary folder. Creates nothing.
    static std::string tempFile();

    /// Whether this is a folder that must never be thrown away or emptied. Without `exactMatch`
    /// everything whose path starts with the letters of a system folder counts too, "/usrdata" as
    /// well as "/usr/bin".
    static bool isPathSystemDirectory(const std::string& path, bool exactMatch = false);
    /// Whether the path leads into a backup disk.
    static bool isPathOnTimeMachineVolume(const std::string& path);
};
