#include "System/FileReading.h"

#include "System/FileDescriptor.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

std::optional<std::string> contentsOfFile(const std::string& path) {
    // The kernel would cut a path at a zero byte.
    const bool whole = path.find('\0') == std::string::npos;
    // Not waiting for a pipe's writer; only a file has an end to read up to.
    const FileDescriptor file(whole ? open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK) : -1);
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode)) {
        errno = EISDIR;
        return std::nullopt;
    }
    return contentsOfDescriptor(file.get());
}

std::optional<std::string> contentsOfDescriptor(int descriptor) {
    std::string content;
    std::array<char, 65536> buffer{};
    while (true) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count == 0) {
            return content;
        }
        if (count < 0 && errno != EINTR) {
            return std::nullopt;
        }
        if (count > 0) {
            content.append(buffer.data(), static_cast<std::size_t>(count));
        }
    }
}
