#include "Foundation/NSFileManager.h"

#include "System/FolderListing.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace fs = std::filesystem;

NSFileManager& NSFileManager::defaultManager() {
    static NSFileManager manager;
    return manager;
}

bool NSFileManager::fileExistsAtPath(const std::string& path) const {
    std::error_code error;
    return fs::exists(path, error);
}

bool NSFileManager::isDirectoryAtPath(const std::string& path) const {
    std::error_code error;
    return fs::is_directory(path, error);
}

bool NSFileManager::isExecutableFileAtPath(const std::string& path) const {
    return access(path.c_str(), X_OK) == 0;
}

bool NSFileManager::createDirectoryAtPath(const std::string& path) const {
    std::error_code error;
    fs::create_directories(path, error);
    return isDirectoryAtPath(path);
}

bool NSFileManager::removeItemAtPath(const std::string& path) const {
    std::error_code error;
    const std::uintmax_t count = fs::remove_all(path, error);
    return !error && count > 0;
}

bool NSFileManager::moveItemAtPath(const std::string& path, const std::string& destination) const {
    std::error_code error;
    if (fs::exists(fs::symlink_status(destination, error))) {
        return false;
    }
    fs::rename(path, destination, error);
    return !error;
}

bool NSFileManager::linkItemAtPath(const std::string& path, const std::string& destination) const {
    std::error_code error;
    if (fs::is_symlink(path, error)) {
        return false;
    }
    fs::create_hard_link(path, destination, error);
    return !error;
}

std::optional<std::vector<std::string>>
NSFileManager::contentsOfDirectoryAtPath(const std::string& path) const {
    auto names = namesInFolder(path);
    if (names) {
        std::sort(names->begin(), names->end());
    }
    return names;
}
