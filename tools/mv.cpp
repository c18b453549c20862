// mv -f SOURCE TARGET: for moves with administrator rights, out of folders that others may prepare.
//
// In a folder that the superuser alone writes, a plain file arrives as a new one of the
// superuser's: copied beside the target, flushed, renamed over it, and only then removed from its
// old place. So whoever holds the old file open cannot write the new one, and the target is the old
// one or the new one whatever happens. Links and files with another name elsewhere do not come
// there, unless from another such folder, and a folder comes by renaming alone. A file comes to
// another file system in the same way, and keeps its owner; all else is renamed.

#include "PlainFile.h"
#include "System/FileWriting.h"
#include "System/FolderListing.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <sys/file.h>
#include <sys/random.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

void require(bool holds, const std::string& what) {
    if (!holds) {
        failWith(what, errno);
    }
}

/// A name in an open folder, so that nobody can put another folder in between.
struct Place {
    FileDescriptor folder;
    std::string name;
    std::string path; // for people

    /// What stands there, a link being one. False for nothing.
    bool look(struct stat& status) const {
        return fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
    }
};

Place placeIn(const std::string& folder, const std::string& name) {
    const std::string nearest = folder.empty() ? "." : folder;
    FileDescriptor opened(open(nearest.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    require(bool(opened), nearest);
    return {std::move(opened), name, (fs::path(folder) / name).string()};
}

Place placeOf(std::string path) {
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    return placeIn(fs::path(path).parent_path().string(), fs::path(path).filename().string());
}

/// The target itself, or the source's name in it where it is a folder.
Place targetOf(const std::string& path, const std::string& sourceName) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
        return placeIn(path, sourceName);
    }
    auto place = placeOf(path);
    // A file keeps its extension. A target without it was meant for a folder.
    const bool isFolder = path.ends_with('/') || (fs::path(sourceName).has_extension() &&
                                                  !fs::path(place.name).has_extension());
    if (isFolder && !place.look(status)) {
        failWith(path, ENOENT);
    }
    return place;
}

/// Whether nobody but the superuser can put anything into the folder.
bool isSuperusersAlone(const FileDescriptor& folder) {
    struct stat status {};
    require(fstat(folder.get(), &status) == 0, "a folder");
    return status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

/// From where others may have prepared it.
bool comesToSuperuser(const Place& source, const Place& target) {
    return isSuperusersAlone(target.folder) && !isSuperusersAlone(source.folder);
}

/// A new file beside the target that takes its place, or goes.
class Arrival {
public:
    explicit Arrival(const Place& target) : target(target) {
        removeAbandoned();
        std::uint64_t unpredictable = 0;
        require(getrandom(&unpredictable, sizeof unpredictable, 0) == sizeof unpredictable,
                "random numbers");
        const auto candidate = prefix + std::to_string(unpredictable);
        file.reset(openat(target.folder.get(), candidate.c_str(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
        require(bool(file), target.path);
        name = candidate;
        flock(file.get(), LOCK_EX); // tells others that somebody works on it
    }
    ~Arrival() {
        if (!name.empty()) {
            unlinkat(target.folder.get(), name.c_str(), 0);
        }
    }
    Arrival(const Arrival&) = delete;
    Arrival& operator=(const Arrival&) = delete;

    void copy(const FileDescriptor& from) const {
        std::array<char, 65536> buffer{};
        ssize_t count = 0;
        while ((count = read(from.get(), buffer.data(), buffer.size())) > 0) {
            require(writeAll(file.get(), {buffer.data(), static_cast<std::size_t>(count)}),
                    target.path);
        }
        require(count == 0, "the source");
    }

    void takeOwnerAndMode(const struct stat& from, bool becomesSuperusers) const {
        const auto user = becomesSuperusers ? 0 : from.st_uid;
        const auto group = becomesSuperusers ? 0 : from.st_gid;
        const bool given = fchown(file.get(), user, group) == 0;
        require(given || geteuid() != 0, target.path);
        // Nobody else is to write a file of the superuser's, or to get its rights by running it.
        const mode_t kept = becomesSuperusers ? 0755 : given ? 07777 : 0777;
        require(fchmod(file.get(), from.st_mode & kept) == 0, target.path);
        const std::array<timespec, 2> times{from.st_atim, from.st_mtim};
        require(futimens(file.get(), times.data()) == 0, target.path);
    }

    void takePlace() {
        require(fsync(file.get()) == 0 && close(file.release()) == 0 &&
                    renameat(target.folder.get(), name.c_str(), target.folder.get(),
                             target.name.c_str()) == 0,
                target.path);
        name.clear();
        fsync(target.folder.get()); // a bonus that not every file system gives
    }

private:
    static constexpr const char* prefix = ".moving-";

    /// What killed programs left behind: files of that name that nobody works on. One that has yet
    /// to be locked is empty, and is left.
    void removeAbandoned() const {
        const auto folder = "/proc/self/fd/" + std::to_string(target.folder.get());
        for (const auto& left : namesInFolder(folder).value_or(std::vector<std::string>())) {
            if (left.starts_with(prefix)) {
                const FileDescriptor abandoned(
                    openat(target.folder.get(), left.c_str(),
                           O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
                struct stat status {};
                if (abandoned && flock(abandoned.get(), LOCK_EX | LOCK_NB) == 0 &&
                    fstat(abandoned.get(), &status) == 0 && status.st_size > 0) {
                    unlinkat(target.folder.get(), left.c_str(), 0);
                }
            }
        }
    }

    const Place& target;
    FileDescriptor file;
    std::string name;
};

void moveFile(const Place& source, const Place& target) {
    // Not blocking, since somebody may have put a pipe there by now.
    const FileDescriptor from(openat(source.folder.get(), source.name.c_str(),
                                     O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    require(from && fstat(from.get(), &status) == 0, source.path);
    const bool becomesSuperusers = comesToSuperuser(source, target);
    if (!S_ISREG(status.st_mode) || (becomesSuperusers && status.st_nlink > 1)) {
        throw std::runtime_error(source.path + " is not a plain file of one name");
    }
    Arrival arrival(target);
    arrival.copy(from);
    arrival.takeOwnerAndMode(status, becomesSuperusers);
    arrival.takePlace();
    require(unlinkat(source.folder.get(), source.name.c_str(), 0) == 0 || errno == ENOENT,
            source.path);
}

/// False where the target is on another file system.
bool renames(const Place& source, const Place& target, bool isFolder) {
    // Somebody may have put a file in the folder's place by now, which the slash refuses.
    const auto name = source.name + (isFolder ? "/" : "");
    const bool done =
        renameat(source.folder.get(), name.c_str(), target.folder.get(), target.name.c_str()) == 0;
    require(done || errno == EXDEV, target.path);
    return done;
}

/// For folders and links, in which the machine's own has practice.
[[noreturn]] void moveWithMachinesOwn(const Place& source, const Place& target) {
    for (const char* program : {"/usr/bin/mv", "/bin/mv"}) {
        execl(program, "mv", "-f", "-T", "--", source.path.c_str(), target.path.c_str(), nullptr);
    }
    failWith("mv", errno);
}

void move(const std::string& from, const std::string& to) {
    const auto source = placeOf(from);
    const auto target = targetOf(to, source.name);
    struct stat moved {};
    struct stat replaced {};
    require(source.look(moved), from);
    if (target.look(replaced) && replaced.st_dev == moved.st_dev &&
        replaced.st_ino == moved.st_ino) {
        throw std::runtime_error(from + " and " + target.path + " are the same file");
    }
    const bool isFolder = S_ISDIR(moved.st_mode);
    const bool isTaken = comesToSuperuser(source, target);
    if ((isFolder || !isTaken) && renames(source, target, isFolder)) {
        return;
    }
    if (S_ISREG(moved.st_mode) || (isTaken && !isFolder)) {
        moveFile(source, target);
    } else if (isTaken) {
        // While its files are copied one by one, others could exchange them.
        throw std::runtime_error(from + " is a folder on another file system");
    } else {
        moveWithMachinesOwn(source, target);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4 || std::string_view(argv[1]) != "-f") {
        std::cerr << "usage: mv -f SOURCE TARGET\n";
        return EXIT_FAILURE;
    }
    signal(SIGXFSZ, SIG_IGN); // a file that grows too large is an error like others
    try {
        move(argv[2], argv[3]);
        return EXIT_SUCCESS;
    } catch (const std::exception& failure) {
        std::cerr << "mv: " << failure.what() << '\n';
        return EXIT_FAILURE;
    }
}
