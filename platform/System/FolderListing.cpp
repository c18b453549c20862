#include "System/FolderListing.h"

#include <filesystem>

namespace fs = std::filesystem;

std::optional<std::vector<std::string>> namesInFolder(const std::string& path) {
    try {
        std::vector<std::string> names;
        // Not with an error code: its step must not throw, and ends the program where memory is
        // short.
        for (const auto& entry : fs::directory_iterator(path)) {
            names.push_back(entry.path().filename().string());
        }
        return names;
    } catch (const fs::filesystem_error&) {
        return std::nullopt;
    }
}
