#include "System/ProcessList.h"

#include <array>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Where a link of /proc leads; empty when it cannot be read.
std::string targetOf(const std::string& link) {
    std::array<char, 4096> target{};
    const auto length = readlink(link.c_str(), target.data(), target.size());
    std::string path(target.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    // A program replaced while it runs is still that program.
    constexpr std::string_view replaced = " (deleted)";
    if (path.size() > replaced.size() && path.ends_with(replaced)) {
        path.resize(path.size() - replaced.size());
    }
    return path;
}

} // namespace

std::vector<RunningProcess> processesOfUser(uid_t user) {
    std::vector<RunningProcess> result;
    std::error_code problem;
    for (std::filesystem::directory_iterator entry("/proc", problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const auto name = entry->path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        struct stat status {};
        const auto folder = entry->path().string();
        // A process may end between any two of these steps; it is then passed over.
        if (stat(folder.c_str(), &status) != 0 || status.st_uid != user) {
            continue;
        }
        if (auto path = targetOf(folder + "/exe"); !path.empty()) {
            result.push_back({static_cast<pid_t>(std::stol(name)), std::move(path)});
        }
    }
    return result;
}

std::string executableOfThisProcess() { return targetOf("/proc/self/exe"); }
