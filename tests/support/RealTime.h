// For tests that run real programs, which take their own time.
#pragma once

#include "Foundation/FileDescriptor.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <poll.h>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>

/// Whether it holds sooner or later; asked no more once it does.
inline bool eventually(const std::function<bool()>& holds) {
    bool held = holds();
    for (int i = 0; i < 3000 && !held; ++i) {
        usleep(10'000);
        held = holds();
    }
    return held;
}

/// Whether the process ends.
inline bool ends(pid_t process) {
    const FileDescriptor life(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
    pollfd awaited{life.get(), POLLIN, 0};
    return !life || poll(&awaited, 1, 30'000) == 1;
}

/// How much of something to try: the environment's number, or so much.
inline int amount(const char* variable, int usual) {
    const char* text = std::getenv(variable);
    return text != nullptr ? std::atoi(text) : usual;
}

inline auto entries(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
}
