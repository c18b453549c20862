// For tests that run real programs, which take their own time.
#pragma once

#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "System/ProcessDescriptor.h"

#include <filesystem>
#include <functional>
#include <poll.h>
#include <string>
#include <unistd.h>

/// Whether it holds sooner or later; asked no more once it does.
inline bool eventually(const std::function<bool()>& holds) {
    bool held = holds();
    for (int i = 0; i < 30'000 && !held; ++i) {
        usleep(1000);
        held = holds();
    }
    return held;
}

/// Whether every thread of ours ends; serves the main run loop meanwhile.
inline bool threadsEnd() {
    return eventually([] {
        NSRunLoop::mainRunLoop().runReady();
        return NSThread::running() == 0;
    });
}

/// Whether the process ends.
inline bool ends(pid_t process) {
    const FileDescriptor life = descriptorOfProcess(process);
    pollfd awaited{life.get(), POLLIN, 0};
    return !life || poll(&awaited, 1, 30'000) == 1;
}

inline auto entries(const std::string& folder) {
    const std::filesystem::directory_iterator all(folder);
    return std::distance(begin(all), end(all));
}
