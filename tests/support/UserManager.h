// A real systemd user manager for a test's user, on a machine that was not booted with systemd.
// Takes the superuser; everything it makes is gone when it goes.
#pragma once

#include "support/PolkitFixture.h"

#include <string>
#include <vector>

class UserManager {
public:
    explicit UserManager(const TestUser& user);
    ~UserManager();
    UserManager(const UserManager&) = delete;
    UserManager& operator=(const UserManager&) = delete;

    /// Whether one runs and takes connections.
    bool isRunning() const;
    const std::string& runtimeDirectory() const { return runtime; }

private:
    const std::string runtime;
    std::vector<std::string> controlGroups;
    bool madeMark = false;
    pid_t process = 0;
};
