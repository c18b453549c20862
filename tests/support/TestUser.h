// A real ordinary user of this machine. test-user.sh makes it, and takes it and whatever else it
// made back, also when the test crashes. Takes the superuser; a test that cannot have it is
// skipped.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

class TestUser {
public:
    /// `role` tells several users of one test apart.
    explicit TestUser(const std::string& role);
    ~TestUser();
    TestUser(const TestUser&) = delete;
    TestUser& operator=(const TestUser&) = delete;

    const std::string& name() const { return userName; }
    std::string home() const { return "/home/" + userName; }

    /// Runs a line of the script's as the superuser, and says whether that succeeded. Nothing does
    /// where the user cannot reach this build, or under the thread sanitizer.
    bool prepare(const std::string& line) const;
    /// Runs `work` in a child process of this user with the user's own environment. True when it
    /// came to its end within five minutes and none of its expectations failed. An exception ends
    /// it.
    bool run(const std::function<void()>& work) const noexcept;

private:
    const std::string userName;
    int script = -1;
    pid_t process = -1;
};
