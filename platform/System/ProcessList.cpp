#include "System/ProcessList.h"

#include "System/FileDescriptor.h"

#include <array>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t longestPath = 4096;
/// As much of its first line as the kernel looks at (BINPRM_BUF_SIZE).
constexpr std::size_t longestFirstLine = 256;

/// Where a link of /proc leads; empty when it cannot be read.
std::string targetOf(int folder, const std::string& link) {
    std::array<char, longestPath> target{};
    const auto length = readlinkat(folder, link.c_str(), target.data(), target.size());
    std::string path(target.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    // A program replaced while it runs is still that program.
    constexpr std::string_view replaced = " (deleted)";
    if (path.size() > replaced.size() && path.ends_with(replaced)) {
        path.resize(path.size() - replaced.size());
    }
    return path;
}

/// What a file begins with. Does not wait for one that has no content yet.
std::string beginningOf(int folder, const std::string& path, std::size_t length) {
    const FileDescriptor file(
        openat(folder, path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    std::string content(length, '\0');
    const auto count = file ? read(file.get(), content.data(), content.size()) : 0;
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return content;
}

/// Whether a script's first line names the interpreter that runs: by its path, or through env by
/// the name that it was started under.
bool isScriptOf(const std::string& script, const std::string& executable,
                const std::string& startedAs) {
    const auto content = beginningOf(AT_FDCWD, script, longestFirstLine);
    if (!content.starts_with("#!")) {
        return false;
    }
    std::istringstream words(content.substr(2, content.find('\n') - 2));
    std::string interpreter, argument;
    words >> interpreter >> argument;
    std::error_code missing;
    return std::filesystem::equivalent(interpreter, executable, missing) ||
           (interpreter.ends_with("/env") && argument == startedAs);
}

/// The script for whose sake an interpreter runs; empty for none. The kernel puts the interpreter,
/// its argument if the first line has one, and the script's path before the script's own arguments.
std::string scriptOf(int proc, const std::string& process, const std::string& executable) {
    std::istringstream arguments(beginningOf(proc, process + "/cmdline", 3 * longestPath));
    std::string interpreter, script;
    std::getline(arguments, interpreter, '\0');
    for (int place = 1; place <= 2 && std::getline(arguments, script, '\0'); ++place) {
        if (script.find('/') == std::string::npos) {
            continue;
        }
        if (!script.starts_with('/')) {
            script.insert(0, targetOf(proc, process + "/cwd") + "/");
        }
        if (isScriptOf(script, executable, interpreter)) {
            return script;
        }
    }
    return "";
}

} // namespace

std::vector<RunningProcess> processesOfUser(uid_t user) {
    struct Close {
        void operator()(DIR* folder) const { closedir(folder); }
    };
    const std::unique_ptr<DIR, Close> folder(opendir("/proc"));
    std::vector<RunningProcess> result;
    const int proc = folder ? dirfd(folder.get()) : -1;
    for (const dirent* entry = nullptr; folder && (entry = readdir(folder.get())) != nullptr;) {
        const std::string name = entry->d_name;
        struct stat status {};
        // A process may end between any two of these steps; it is then passed over.
        if (name.find_first_not_of("0123456789") != std::string::npos ||
            fstatat(proc, name.c_str(), &status, 0) != 0 || status.st_uid != user) {
            continue;
        }
        const auto process = static_cast<pid_t>(std::stol(name));
        const auto executable = targetOf(proc, name + "/exe");
        if (executable.empty()) {
            continue;
        }
        result.push_back({process, executable});
        if (auto script = scriptOf(proc, name, executable); !script.empty()) {
            result.push_back({process, std::move(script)});
        }
    }
    return result;
}

std::string executableOfThisProcess() { return targetOf(AT_FDCWD, "/proc/self/exe"); }
