#include "System/FileReplacement.h"

#include "System/FileDescriptor.h"
#include "System/FileWriting.h"
#include "System/FolderListing.h"
#include "System/TerminationGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>

namespace {

[[noreturn]] void fail(const std::string& doing, int error) {
    throw std::system_error(error, std::generic_category(), doing);
}

void require(bool condition, const std::string& doing) {
    if (!condition) {
        fail(doing, errno);
    }
}

std::string folderOf(const std::string& path) {
    const auto folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

/// Where a symbolic link leads, link after link, whether or not something is there.
std::string targetOfLinks(std::string path) {
    constexpr int linkLimit = 40;
    for (int count = 0; count < linkLimit; ++count) {
        std::array<char, PATH_MAX> buffer{};
        const ssize_t length = readlink(path.c_str(), buffer.data(), buffer.size());
        if (length < 0) {
            return path;
        }
        const std::string target(buffer.data(), static_cast<std::size_t>(length));
        path = std::filesystem::path(folderOf(path)) / target; // which is all of it when absolute
    }
    fail("Cannot follow " + path, ELOOP);
}

/// A file beside the target that takes its place, or goes when that fails.
class Replacement {
public:
    explicit Replacement(const std::string& target) : target(target) {
        if (stat(target.c_str(), &old) == 0) {
            replaces = true;
            if (!S_ISREG(old.st_mode)) {
                fail("Cannot replace " + target, S_ISDIR(old.st_mode) ? EISDIR : EINVAL);
            }
        }
        // Content that is not for everyone is at no moment open to others.
        const mode_t mode = replaces ? 0600 : 0644;
        const std::string folder = folderOf(target);
        removeAbandoned(folder);
        do {
            std::uint64_t unpredictable = 0;
            require(getrandom(&unpredictable, sizeof unpredictable, 0) == sizeof unpredictable,
                    "Cannot name a temporary file");
            const auto candidate = folder + "/" + prefix + std::to_string(unpredictable);
            file.reset(open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                            mode));
            if (file) {
                path = candidate;
            }
        } while (file ? !isOurs() : errno == EEXIST);
        require(bool(file), "Cannot create a file in " + folderOf(target));
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;
    ~Replacement() {
        if (!path.empty()) {
            unlink(path.c_str());
        }
    }

    void write(const std::string& bytes) const {
        require(writeAll(file.get(), bytes), "Cannot write " + target);
    }

    void takePlace(Flush flush) {
        if (replaces) {
            // The owner stays where that is allowed; it comes first, since it may clear mode bits.
            const bool ownerKept = fchown(file.get(), old.st_uid, old.st_gid) == 0;
            const mode_t kept = ownerKept ? 07777 : 0777;
            require(fchmod(file.get(), old.st_mode & kept) == 0,
                    "Cannot set the mode of " + target);
        }
        require(flush == Flush::later || fsync(file.get()) == 0, "Cannot flush " + target);
        require(close(file.release()) == 0, "Cannot close " + target);
        require(rename(path.c_str(), target.c_str()) == 0, "Cannot replace " + target);
        path.clear();
        if (flush == Flush::later) {
            return;
        }
        // The new file is in place; that the folder's entry survives a power cut is a bonus that
        // not every file system gives.
        const FileDescriptor folder(
            open(folderOf(target).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        fsync(folder.get());
    }

private:
    static constexpr const char* prefix = ".saving-";

    /// The lock tells others that somebody works on the file. One that was taken for abandoned just
    /// before is no longer there.
    bool isOurs() const {
        struct stat status {};
        return flock(file.get(), LOCK_EX) == 0 && fstat(file.get(), &status) == 0 &&
               status.st_nlink > 0;
    }

    /// What killed programs left behind: files of that name that nobody works on.
    static void removeAbandoned(const std::string& folder) {
        for (const auto& name : namesInFolder(folder).value_or(std::vector<std::string>())) {
            if (name.starts_with(prefix)) {
                const std::string path = std::filesystem::path(folder) / name;
                const FileDescriptor file(
                    open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK));
                if (file && flock(file.get(), LOCK_EX | LOCK_NB) == 0) {
                    unlink(path.c_str());
                }
            }
        }
    }

    const std::string target;
    struct stat old {};
    bool replaces = false;
    FileDescriptor file;
    std::string path;
};

} // namespace

std::optional<std::system_error> writeFileAtomically(const std::string& bytes,
                                                     const std::string& path, Flush flush) {
    const TerminationGuard guard;
    try {
        if (path.find('\0') != std::string::npos) {
            fail("Cannot write a path that holds a zero byte", EINVAL);
        }
        Replacement replacement(targetOfLinks(path));
        replacement.write(bytes);
        replacement.takePlace(flush);
        return std::nullopt;
    } catch (const std::system_error& failure) {
        return failure;
    }
}
