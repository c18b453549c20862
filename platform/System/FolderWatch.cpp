#include "System/FolderWatch.h"

#include <array>
#include <filesystem>
#include <sys/inotify.h>
#include <unistd.h>

FolderWatch::FolderWatch() : events(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

void FolderWatch::add(const std::string& folder) const {
    constexpr std::uint32_t names = IN_CREATE | IN_MOVE | IN_DELETE | IN_ONLYDIR;
    constexpr std::uint32_t whole = names | IN_MODIFY | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;
    std::filesystem::path path(folder);
    auto mask = whole;
    while (inotify_add_watch(events.get(), path.c_str(), mask) < 0 && path.has_relative_path()) {
        path = path.parent_path();
        mask = names;
    }
}

void FolderWatch::drain() const {
    alignas(inotify_event) std::array<char, 4096> buffer;
    while (read(events.get(), buffer.data(), buffer.size()) > 0) {
    }
}
