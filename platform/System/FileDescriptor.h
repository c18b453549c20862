// A file descriptor with one owner, closed when it goes.
#pragma once

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int number) : number(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : number(other.release()) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return number; }
    explicit operator bool() const { return number >= 0; }
    /// Hands it to the caller, who closes it from then on.
    int release() { return std::exchange(number, -1); }
    /// Another descriptor of the same file. Raises std::system_error when there is none to be had.
    FileDescriptor duplicate() const {
        FileDescriptor copy(fcntl(number, F_DUPFD_CLOEXEC, 0));
        if (!copy) {
            throw std::system_error(errno, std::generic_category(), "Cannot wait for a file");
        }
        return copy;
    }
    void reset(int other = -1) {
        if (number >= 0) {
            close(number);
        }
        number = other;
    }

private:
    int number = -1;
};
