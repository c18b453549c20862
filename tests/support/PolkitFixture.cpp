#include "support/PolkitFixture.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <pwd.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* busSocket = "/run/dbus/system_bus_socket";
constexpr const char* action = "com.quorvane.tessaline.administer";
constexpr const char* polkitd = "/usr/lib/polkit-1/polkitd";

pid_t start(const std::vector<std::string>& command, int input) {
    std::vector<char*> arguments;
    for (const auto& argument : command) {
        arguments.push_back(const_cast<char*>(argument.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t process = -1;
    const int problem =
        posix_spawnp(&process, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return problem == 0 ? process : -1;
}

int statusOf(pid_t process) {
    int status = 0;
    return process > 0 && waitpid(process, &status, 0) == process && WIFEXITED(status)
               ? WEXITSTATUS(status)
               : -1;
}

bool busAnswers() {
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    std::string(busSocket).copy(address.sun_path, sizeof address.sun_path - 1);
    const int probe = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    close(probe);
    return connected;
}

/// Real time: other programs are waited for here, before the test proper begins.
bool waitUntil(const std::function<bool()>& holds) {
    for (int i = 0; i < 100; ++i) {
        if (holds()) {
            return true;
        }
        usleep(50'000);
    }
    return false;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

int runCommand(const std::vector<std::string>& command, const std::string& input) {
    std::array<int, 2> ends{-1, -1};
    if (pipe2(ends.data(), O_CLOEXEC) != 0 ||
        write(ends[1], input.data(), input.size()) != static_cast<ssize_t>(input.size())) {
        return -1;
    }
    close(ends[1]);
    const auto process = start(command, ends[0]);
    close(ends[0]);
    return statusOf(process);
}

TestUser::TestUser(const std::string& role)
    : userName("tslt-" + role + "-" + std::to_string(getpid())), homeFolder("/home/" + userName) {
    runCommand({"useradd", "--create-home", "--home-dir", homeFolder, "--shell", "/bin/bash",
                "--user-group", userName});
    if (const passwd* entry = getpwnam(userName.c_str())) {
        userID = entry->pw_uid;
        groupID = entry->pw_gid;
    }
}

TestUser::~TestUser() { runCommand({"userdel", "--force", "--remove", userName}); }

bool TestUser::run(const std::function<void()>& work) const {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        constexpr unsigned limit = 60;
        alarm(limit);
        clearenv();
        setenv("PATH", "/usr/bin:/bin", 1);
        setenv("HOME", homeFolder.c_str(), 1);
        setenv("USER", userName.c_str(), 1);
        setenv("SHELL", "/bin/bash", 1);
        if (userID == 0 || initgroups(userName.c_str(), groupID) != 0 || setgid(groupID) != 0 ||
            setuid(userID) != 0 || chdir(homeFolder.c_str()) != 0) {
            _exit(EXIT_FAILURE);
        }
        work();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    return statusOf(child) == EXIT_SUCCESS;
}

PolkitFixture::PolkitFixture(std::string helper, std::string policy)
    : helper(std::move(helper)), policy(std::move(policy)) {}

void PolkitFixture::SetUp() {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the superuser, to make a user and to start polkit";
    }
    for (const auto* program : {polkitd, "/usr/bin/pkexec", "/usr/bin/pkcheck",
                                "/usr/bin/dbus-daemon", "/usr/sbin/useradd"}) {
        if (access(program, X_OK) != 0) {
            GTEST_SKIP() << "needs " << program;
        }
    }
    // One test at a time: they share the machine's bus and polkit.
    lock = open("/run/tessaline-test.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    flock(lock, LOCK_EX);
    testUser = std::make_unique<TestUser>("user");
    ASSERT_NO_FATAL_FAILURE(installPolicy());
    startServices();
    if (!answer("YES")) {
        GTEST_SKIP() << "polkit does not start here";
    }
}

PolkitFixture::~PolkitFixture() {
    for (const auto& file : files) {
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
    }
    for (auto service = services.rbegin(); service != services.rend(); ++service) {
        kill(*service, SIGTERM);
        waitpid(*service, nullptr, 0);
    }
    testUser.reset();
    close(lock);
}

void PolkitFixture::startServices() {
    if (busAnswers()) {
        return;
    }
    const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
    std::filesystem::create_directories("/run/dbus");
    std::filesystem::remove("/run/dbus/pid");
    services.push_back(start({"dbus-daemon", "--system", "--nofork"}, null));
    if (waitUntil(busAnswers)) {
        services.push_back(start({polkitd, "--no-debug"}, null));
    }
    close(null);
}

void PolkitFixture::installPolicy() {
    auto text = contentOf(policy);
    const auto key = text.find("policykit.exec.path");
    ASSERT_NE(key, std::string::npos) << policy << " names no helper";
    const auto begin = text.find('>', key) + 1;
    text.replace(begin, text.find('<', begin) - begin, helper);
    files.push_back("/usr/share/polkit-1/actions/com.quorvane.tessaline-test.policy");
    std::ofstream(files.back()) << text;
}

bool PolkitFixture::answer(const std::string& result) {
    const auto rule = "/etc/polkit-1/rules.d/00-" + testUser->name() + ".rules";
    files.push_back(rule);
    // Only the panel's own action is answered: a program that polkit does not know by the policy
    // file is refused.
    std::ofstream(rule) << "polkit.addRule(function(action, subject) {\n"
                        << "  if (subject.user == '" << testUser->name() << "') {\n"
                        << "    return action.id == '" << action << "'\n"
                        << "        ? polkit.Result." << result << " : polkit.Result.NO;\n"
                        << "  }\n});\n";
    // polkit reads its rules again in its own time.
    return waitUntil([&] {
        return testUser->run([] {
            _exit(runCommand(
                {"pkcheck", "--action-id", action, "--process", std::to_string(getpid())}));
        }) == (result == "YES");
    });
}
