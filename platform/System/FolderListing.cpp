#include "System/FolderListing.h"

#include <cerrno>
#include <dirent.h>
#include <memory>
#include <string_view>

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
    // Not by the C++ library's iterator, which ends the program where memory is short.
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir(path.c_str()), closedir);
    if (!folder) {
        return std::nullopt;
    }
    std::vector<std::string> names;
    errno = 0;
    while (const dirent* const entry = readdir(folder.get())) {
        const std::string_view name = entry->d_name;
        if (name != "." && name != "..") {
            names.emplace_back(name);
        }
        errno = 0;
    }
    return errno == 0 ? std::optional(std::move(names)) : std::nullopt;
}
