// A folder that is gone when the test ends.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

class TemporaryDirectory {
public:
    explicit TemporaryDirectory(
        const std::string& parent = std::filesystem::temp_directory_path()) {
        std::string pattern = parent + "/tessaline-test-XXXXXX";
        folder = std::filesystem::canonical(mkdtemp(pattern.data())).string();
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& path() const { return folder; }

private:
    std::string folder;
};
