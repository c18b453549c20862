#include "support/UserManager.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

static constexpr const char* program = "/lib/systemd/systemd";
/// What tells systemd's programs that there is one.
static constexpr const char* mark = "/run/systemd/system";

static std::vector<fs::path> foldersBelow(const std::string& group) {
    std::vector<fs::path> folders{group};
    for (const auto& entry : fs::recursive_directory_iterator(group)) {
        if (entry.is_directory()) {
            folders.push_back(entry.path());
        }
    }
    return folders;
}

/// Whether none is left.
static bool killAllIn(const std::string& group) {
    bool none = true;
    for (const auto& folder : foldersBelow(group)) {
        std::ifstream members(folder / "cgroup.procs");
        for (pid_t member = 0; members >> member;) {
            none = false;
            kill(member, SIGKILL);
        }
    }
    return none;
}

/// The innermost first: the kernel's own files go with each.
static void removeGroup(const std::string& group) {
    auto folders = foldersBelow(group);
    for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
        rmdir(folder->c_str());
    }
}

UserManager::UserManager(const TestUser& user) : runtime(user.home() + "/run") {
    madeMark = fs::create_directories(mark);
    for (const std::string tree : {"/sys/fs/cgroup/systemd", "/sys/fs/cgroup/unified"}) {
        std::error_code problem;
        if (fs::create_directory(tree + "/" + user.name(), problem)) {
            controlGroups.push_back(tree + "/" + user.name());
            for (const char* file : {"", "/cgroup.procs", "/cgroup.subtree_control"}) {
                [[maybe_unused]] const int ignored =
                    chown((controlGroups.back() + file).c_str(), user.id(), gid_t(-1));
            }
        }
    }
    fs::create_directory(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    if (controlGroups.empty() || access(program, X_OK) != 0 ||
        chown(runtime.c_str(), user.id(), gid_t(-1)) != 0) {
        return;
    }
    process = fork();
    if (process == 0) {
        for (const auto& group : controlGroups) {
            std::ofstream(group + "/cgroup.procs") << getpid() << std::flush;
        }
        user.run([this] {
            alarm(0);
            setenv("XDG_RUNTIME_DIR", runtime.c_str(), 1);
            execl(program, program, "--user", "--log-target=null", nullptr);
        });
        _exit(EXIT_FAILURE);
    }
    for (int i = 0; i < 100 && !isRunning(); ++i) {
        usleep(50'000); // another program is waited for, before the test proper begins
    }
}

UserManager::~UserManager() {
    // Whatever runs in its control groups was started by it or is it.
    for (const auto& group : controlGroups) {
        for (int i = 0; i < 100 && !killAllIn(group); ++i) {
            usleep(20'000);
        }
    }
    if (process > 0) {
        waitpid(process, nullptr, 0);
    }
    for (const auto& group : controlGroups) {
        removeGroup(group);
    }
    std::error_code ignored;
    if (madeMark) {
        fs::remove(mark, ignored);
    }
}

bool UserManager::isRunning() const { return fs::is_socket(runtime + "/systemd/private"); }
