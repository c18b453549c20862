// A file descriptor with one owner, closed when it goes.
#pragma once

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
    void reset(int other = -1) {
        if (number >= 0) {
            close(number);
        }
        number = other;
    }

private:
    int number = -1;
};
