#include "System/TrustedPath.h"

#include <array>
#include <cerrno>
#include <climits>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace {

[[noreturn]] void cannotReach(const std::string& path, int error) {
    throw std::system_error(error, std::generic_category(), "Cannot reach " + path);
}

bool isTrusted(const struct stat& status, uid_t user) {
    if (status.st_uid != 0 && status.st_uid != user) {
        return false;
    }
    // A link has no mode, and in a sticky folder nobody replaces what is another's.
    const bool hasMode = !S_ISLNK(status.st_mode);
    const bool isShared = S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0;
    const mode_t others = status.st_gid == 0 ? S_IWOTH : S_IWGRP | S_IWOTH;
    return !hasMode || isShared || (status.st_mode & others) == 0;
}

std::string targetOf(const std::string& link) {
    std::array<char, PATH_MAX> target{};
    const auto length = readlink(link.c_str(), target.data(), target.size());
    if (length < 0) {
        cannotReach(link, errno);
    }
    return {target.data(), static_cast<std::size_t>(length)};
}

/// Takes the first component off a path.
std::string takeComponent(std::string& path) {
    const auto end = path.find('/');
    auto name = path.substr(0, end);
    path.erase(0, end == path.npos ? end : end + 1);
    return name;
}

} // namespace

void requireTrustedPath(const std::string& path, uid_t user) {
    constexpr int linkLimit = 40;
    std::string done;
    std::string rest = path;
    for (int links = 0; !rest.empty();) {
        const auto name = takeComponent(rest);
        if (name == "..") {
            done.erase(done.empty() ? 0 : done.rfind('/'));
        }
        if (name.empty() || name == "." || name == "..") {
            continue;
        }
        std::string part = done;
        part.append("/").append(name);
        struct stat status {};
        if (lstat(part.c_str(), &status) != 0) {
            cannotReach(part, errno);
        }
        if (!isTrusted(status, user)) {
            throw UntrustedPath(part);
        }
        if (!S_ISLNK(status.st_mode)) {
            done = part;
            continue;
        }
        if (++links > linkLimit) {
            cannotReach(path, ELOOP);
        }
        const auto target = targetOf(part);
        done = target.starts_with('/') ? "" : done;
        rest.insert(0, "/").insert(0, target);
    }
}
