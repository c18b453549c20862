// Files and folders, by real path. Every operation may be called from any thread and may wait for
// the disk.
#pragma once

#include <optional>
#include <string>
#include <vector>

class NSFileManager {
public:
    static NSFileManager& defaultManager();

    /// Follows symbolic links, as the platform does.
    bool fileExistsAtPath(const std::string& path) const;
    bool isDirectoryAtPath(const std::string& path) const;
    /// Whether the current user may execute it; a folder may be.
    bool isExecutableFileAtPath(const std::string& path) const;
    /// With any missing folders on the way. True when it is there afterwards.
    bool createDirectoryAtPath(const std::string& path) const;
    /// A folder with all that is in it; a symbolic link itself, never its target.
    bool removeItemAtPath(const std::string& path) const;
    /// Within one disk. Fails when something stands at the destination.
    bool moveItemAtPath(const std::string& path, const std::string& destination) const;
    /// Gives a file a second name within its disk. Fails for a symbolic link, and when something
    /// stands at the destination.
    bool linkItemAtPath(const std::string& path, const std::string& destination) const;
    /// Names only, sorted; none when the folder cannot be read.
    std::optional<std::vector<std::string>>
    contentsOfDirectoryAtPath(const std::string& path) const;
};
