#include "Foundation/Machine.h"

#include "Foundation/NSException.h"
#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <systemd/sd-journal.h>
#include <systemd/sd-login.h>
#include <unistd.h>

namespace {

struct Account {
    std::string name;
    std::string home;
};

template <class Lookup>
std::optional<Account> account(const Lookup& lookup) {
    std::vector<char> buffer(1024);
    passwd entry{};
    passwd* found = nullptr;
    while (lookup(&entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    return found ? std::optional(Account{found->pw_name, found->pw_dir}) : std::nullopt;
}

std::optional<Account> accountOf(uid_t user) {
    return account([user](auto... rest) { return getpwuid_r(user, rest...); });
}

std::optional<Account> accountOf(const std::string& name) {
    return account([&name](auto... rest) { return getpwnam_r(name.c_str(), rest...); });
}

bool isProgram(const std::string& path) {
    struct stat status {};
    return !path.empty() && stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           access(path.c_str(), X_OK) == 0;
}

std::shared_ptr<Machine>& installed() {
    static std::shared_ptr<Machine> machine;
    return machine;
}

/// The stand-ins of a build folder, which lie beside this library's own.
const std::string& toolsOfThisBuild() {
    static const std::string folder = [] {
        Dl_info info{};
        dladdr(reinterpret_cast<const void*>(&isProgram), &info);
        const auto library = std::filesystem::absolute(info.dli_fname ? info.dli_fname : "");
        return library.parent_path().parent_path().string() + "/libexec/tessaline/";
    }();
    return folder;
}

/// Makes the folder if need be, and makes sure that nobody else had a hand in it.
void requirePrivateFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(stringByDeletingLastPathComponent(path), ignored);
    if (mkdir(path.c_str(), 0700) != 0 && errno != EEXIST) {
        throw NSException(NSInternalInconsistencyException,
                          "Cannot make the temporary folder " + path + ": " + std::strerror(errno));
    }
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode) ||
        status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
        throw NSException(NSInternalInconsistencyException,
                          "The temporary folder " + path +
                              " is not this user's own; remove it and try again");
    }
}

} // namespace

Machine::Machine() = default;
Machine::~Machine() = default;

Machine& Machine::current() {
    static Machine real;
    return installed() ? *installed() : real;
}

void Machine::install(std::shared_ptr<Machine> machine) { installed() = std::move(machine); }

Clock& Machine::clock() {
    static RealClock real;
    return real;
}

uid_t Machine::realUserID() const { return getuid(); }

std::string Machine::userName() const {
    const auto user = accountOf(getuid());
    return user ? user->name : std::to_string(getuid());
}

std::optional<std::string> Machine::consoleUser() const {
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
    const auto found = accountOf(user);
    return found ? std::optional(found->name) : std::nullopt;
}

std::string Machine::homeDirectory() const {
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] == '/') {
        return home;
    }
    const auto user = accountOf(getuid());
    return user ? user->home : "/";
}

std::optional<std::string> Machine::homeDirectoryForUser(const std::string& name) const {
    const auto user = accountOf(name);
    return user ? std::optional(user->home) : std::nullopt;
}

std::string Machine::root() const { return ""; }

std::string Machine::temporaryDirectory() const {
    auto path = temporaryPath();
    try {
        requirePrivateFolder(path);
    } catch (const NSException&) {
        // Others may have taken a name where everybody writes; in one's own home they cannot.
        path = homeDirectory() + "/.cache/tessaline";
        requirePrivateFolder(path);
    }
    return path;
}

std::string Machine::temporaryPath() const {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    return runtime != nullptr && runtime[0] == '/' ? std::string(runtime) + "/tessaline"
                                                   : "/tmp/tessaline-" + std::to_string(geteuid());
}

std::vector<RunningProcess> Machine::processes() const {
    std::vector<RunningProcess> result;
    std::error_code problem;
    const auto user = getuid();
    for (std::filesystem::directory_iterator entry("/proc", problem), end; !problem && entry != end;
         entry.increment(problem)) {
        const auto name = entry->path().filename().string();
        if (name.find_first_not_of("0123456789") != std::string::npos) {
            continue;
        }
        struct stat status {};
        std::array<char, 4096> target{};
        const auto folder = entry->path().string();
        // A process may end between any two of these steps; it is then passed over.
        if (stat(folder.c_str(), &status) != 0 || status.st_uid != user) {
            continue;
        }
        const auto length = readlink((folder + "/exe").c_str(), target.data(), target.size());
        if (length <= 0) {
            continue;
        }
        std::string path(target.data(), static_cast<std::size_t>(length));
        // A program replaced while it runs is still that program.
        constexpr std::string_view replaced = " (deleted)";
        if (path.size() > replaced.size() && path.ends_with(replaced)) {
            path.resize(path.size() - replaced.size());
        }
        result.push_back({static_cast<pid_t>(std::stol(name)), std::move(path)});
    }
    return result;
}

std::string Machine::programForTool(const std::string& path) const {
    if (path.empty() || path.front() != '/') {
        return "";
    }
    const auto name = lastPathComponent(path);
    const std::array candidates = {
        root().empty() ? std::string() : root() + path,
        toolsOfThisBuild() + name,
        std::string(TESSALINE_INSTALLED_TOOLS "/") + name,
        path,
        "/usr/bin/" + name,
        "/bin/" + name,
        "/usr/sbin/" + name,
        "/sbin/" + name,
    };
    const auto found = std::find_if(candidates.begin(), candidates.end(), isProgram);
    return found == candidates.end() ? "" : *found;
}

AuthorizationMode Machine::authorizationMode() const { return AuthorizationMode::system; }

std::string Machine::sessionBusAddress() const {
    if (const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS")) {
        return address;
    }
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && std::filesystem::is_socket(std::string(runtime) + "/bus")) {
        return "unix:path=" + std::string(runtime) + "/bus";
    }
    return "";
}

void Machine::console(std::string_view line) {
    std::string whole(line);
    whole += '\n';
    // One write, so that lines of several threads and processes do not mix.
    [[maybe_unused]] const auto written = write(STDERR_FILENO, whole.data(), whole.size());
    sd_journal_print(LOG_NOTICE, "%.*s", static_cast<int>(line.size()), line.data());
}
