#include "support/TestUser.h"

#include <array>
#include <cstdlib>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

TestUser::TestUser(const std::string& role)
    : userName("tslt-" + role + "-" + std::to_string(getpid())) {
    std::array<int, 2> ends{-1, -1};
    socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data());
    process = fork();
    if (process == 0) {
        setsid(); // what interrupts the test must not keep the script from its end
        dup2(ends[1], STDIN_FILENO);
        dup2(ends[1], STDOUT_FILENO);
        execl(SUPPORT_DIRECTORY "/test-user.sh", "test-user.sh", userName.c_str(), nullptr);
        _exit(EXIT_FAILURE);
    }
    close(ends[1]);
    script = ends[0];
#if defined(__SANITIZE_THREAD__)
    shutdown(script, SHUT_WR); // this sanitizer knows no threads in a child of one with threads
#endif
    if (prepare("true") && !prepare("as_user test -x " BINARY_DIRECTORY "/lib")) {
        std::fputs("Another user cannot reach " BINARY_DIRECTORY ".\n", stderr);
        shutdown(script, SHUT_WR); // nothing can be prepared
    }
}

TestUser::~TestUser() {
    close(script);
    waitpid(process, nullptr, 0);
}

bool TestUser::prepare(const std::string& line) const {
    char answer = 0;
    return send(script, (line + "\n").data(), line.size() + 1, MSG_NOSIGNAL) > 0 &&
           read(script, &answer, 1) == 1 && answer == 'y' && read(script, &answer, 1) == 1;
}

bool TestUser::run(const std::function<void()>& work) const noexcept {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        constexpr unsigned limit = 300;
        alarm(limit);
        clearenv();
        setenv("PATH", "/usr/bin:/bin", 1);
        setenv("HOME", home().c_str(), 1);
        setenv("USER", userName.c_str(), 1);
        const passwd* user = getpwnam(userName.c_str());
        if (user == nullptr || initgroups(userName.c_str(), user->pw_gid) != 0 ||
            setgid(user->pw_gid) != 0 || setuid(user->pw_uid) != 0 || chdir(home().c_str()) != 0) {
            _exit(EXIT_FAILURE);
        }
        work();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}
