#include "System/RealMachine.h"

#include "System/SpawnedProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
// The journal would be told where this source lay when it was built.
#define SD_JOURNAL_SUPPRESS_LOCATION
#include <systemd/sd-journal.h>
#include <systemd/sd-login.h>
#include <unistd.h>

namespace {

bool isProgram(const std::string& path) {
    struct stat status {};
    return !path.empty() && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

/// Without doubled and trailing separators, since folders are told apart by their paths.
std::string normalised(const std::filesystem::path& folder) {
    const auto path = folder.lexically_normal();
    return (path.has_filename() || path == "/" ? path : path.parent_path()).string();
}

/// Whether it is one of the folders where the Mac has its tools.
bool isToolFolder(const std::filesystem::path& folder) {
    constexpr std::array folders{"/bin", "/sbin", "/usr/bin", "/usr/sbin", "/usr/libexec"};
    return std::find(folders.begin(), folders.end(), folder) != folders.end() ||
           folder.string().starts_with("/usr/libexec/");
}

/// The stand-ins, whose folder lies beside this library's own.
const std::string& ownTools() {
    static const std::string folder = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<const void*>(&isProgram), &info);
        // polkit knows the helpers by their real paths.
        std::error_code unknown;
        const auto library =
            std::filesystem::canonical(info.dli_fname ? info.dli_fname : "", unknown);
        return library.parent_path().parent_path().string() + "/libexec/";
    }();
    return folder;
}

/// Whether it is there and nobody else had a hand in it.
bool isPrivateFolder(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid() && (status.st_mode & 077) == 0;
}

/// Makes the folder if need be.
void requirePrivateFolder(const std::string& path) {
    if (isPrivateFolder(path)) {
        return;
    }
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        throw std::system_error(errno, std::generic_category(),
                                "Cannot make the temporary folder " + path);
    }
    if (!isPrivateFolder(path)) {
        throw std::system_error(EPERM, std::generic_category(),
                                "The temporary folder " + path +
                                    " is not this user's own; remove it and try again");
    }
}

bool isWrittenByEverybody(const std::filesystem::path& folder) {
    struct stat status {};
    return stat(folder.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0;
}

} // namespace

RealMachine::RealMachine(AuthorizationMode mode) : account(UserAccount::of(getuid())), mode(mode) {}

uid_t RealMachine::realUserID() const { return getuid(); }

std::string RealMachine::userName() const {
    return account ? account->name : std::to_string(getuid());
}

std::optional<std::string> RealMachine::consoleUser() const {
    char* session = nullptr;
    uid_t user = 0;
    if (sd_seat_get_active("seat0", &session, &user) < 0) {
        return std::nullopt;
    }
    char* kind = nullptr;
    const bool greeter = sd_session_get_class(session, &kind) >= 0 && kind != nullptr &&
                         std::string_view(kind) == "greeter";
    std::free(kind);
    std::free(session);
    if (greeter) {
        return "loginwindow";
    }
    const auto found = UserAccount::of(user);
    return found ? std::optional(found->name) : std::nullopt;
}

std::string RealMachine::homeDirectory() const {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') {
        return normalised(home);
    }
    return account ? normalised(account->home) : "/";
}

std::optional<std::string> RealMachine::homeDirectoryForUser(const std::string& name) const {
    const auto user = UserAccount::of(name);
    return user ? std::optional(normalised(user->home)) : std::nullopt;
}

std::string RealMachine::temporaryDirectory() const {
    const std::filesystem::path usual = temporaryPath();
    auto inHome = homeDirectory() + "/.cache/tessaline";
    // Where everybody writes others may take the name, and let go of it again; in one's own home
    // they cannot. What was begun there stays there, or it would no longer be found.
    if (!isWrittenByEverybody(usual.parent_path()) || !isPrivateFolder(inHome)) {
        try {
            requirePrivateFolder(usual);
            return usual;
        } catch (const std::system_error&) { // then in the home, or nowhere
        }
    }
    requirePrivateFolder(inHome);
    return inHome;
}

std::string RealMachine::temporaryPath() const {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime != nullptr && runtime[0] == '/' ? std::string(runtime) + "/tessaline"
                                                   : "/tmp/tessaline-" + std::to_string(geteuid());
}

std::vector<RunningProcess> RealMachine::processes() const { return processesOfUser(getuid()); }

std::string RealMachine::programForTool(const std::string& path) const {
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        return "";
    }
    if (auto inRoot = root() + path; !root().empty() && isProgram(inRoot)) {
        return inRoot;
    }
    const std::filesystem::path tool(path);
    if (!isToolFolder(tool.parent_path())) {
        return isProgram(path) ? path : "";
    }
    const auto name = tool.filename().string();
    const std::array candidates = {
        ownTools() + name, path, "/usr/bin/" + name, "/bin/" + name, "/usr/sbin/" + name,
        "/sbin/" + name,
    };
    const auto found = std::find_if(candidates.begin(), candidates.end(), isProgram);
    return found == candidates.end() ? "" : *found;
}

std::unique_ptr<LaunchedProcess> RealMachine::launch(const LaunchRequest& request) {
    return std::make_unique<SpawnedProcess>(request);
}

std::string RealMachine::sessionBusAddress() const {
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
        return address;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code unreadable; // another user's folder is none
    if (runtime != nullptr &&
        std::filesystem::is_socket(std::string(runtime) + "/bus", unreadable)) {
        return "unix:path=" + std::string(runtime) + "/bus";
    }
    return "";
}

void RealMachine::console(std::string_view line) {
    std::string whole(line);
    whole += '\n';
    // One write, so that lines of several threads and processes do not mix.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, whole.data(), whole.size());
    sd_journal_print(LOG_NOTICE, "%.*s", static_cast<int>(line.size()), line.data());
}
