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
    /// Names only, sorted; none when the folder cannot be read.
    std::optional<std::vector<std::string>>
    contentsOfDirectoryAtPath(const std::string& path) const;
};

/// The whole file, or none when it cannot be read.
std::optional<std::string> contentsOfFile(const std::string& path);

/// When new content goes to the disk: at once, or in the system's own time, for what a power cut
/// may take.
enum class Flush { now, later };

/// Replaces a file's content as one step: a temporary file beside the target, flushed to the disk,
/// given the old file's mode and renamed over it. A symbolic link is followed and its target
/// replaced. On failure the old file stands, no temporary file stays, and the result says why in a
/// sentence; none means success.
std::optional<std::string> writeFileAtomically(const std::string& bytes, const std::string& path,
                                               Flush flush = Flush::now);
