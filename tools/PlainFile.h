// How privileged tools take hold of a file that somebody else may have prepared.
#pragma once

#include "System/FileDescriptor.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>

[[noreturn]] inline void failWith(const std::string& what, int error) {
    throw std::runtime_error(what + ": " + std::strerror(error));
}

/// A handle of the file or folder itself, to change its owner or mode by. Raises for a link and for
/// a file with another name elsewhere: what would be changed is somewhere else.
inline FileDescriptor handleWithoutLinks(const std::string& path) {
    FileDescriptor handle(open(path.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!handle || fstat(handle.get(), &status) != 0) {
        failWith(path, errno);
    }
    if (S_ISLNK(status.st_mode) || (S_ISREG(status.st_mode) && status.st_nlink > 1)) {
        throw std::runtime_error(path + " is a link; name the file itself");
    }
    return handle;
}
