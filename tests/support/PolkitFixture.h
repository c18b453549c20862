// A real ordinary user and a real polkit that says yes to that user alone, for as long as the test
// runs. Both take the superuser; a test that cannot have them says so and is skipped.
#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

/// Runs a command of the machine and waits for it. The exit status, or -1.
int runCommand(const std::vector<std::string>& command, const std::string& input = "");

/// An account that is made for the test and removed after it.
class TestUser {
public:
    /// `role` tells several users of one test apart.
    explicit TestUser(const std::string& role);
    ~TestUser();
    TestUser(const TestUser&) = delete;
    TestUser& operator=(const TestUser&) = delete;

    const std::string& name() const { return userName; }
    const std::string& home() const { return homeFolder; }
    uid_t id() const { return userID; }

    /// Runs `work` in a child process of this user with the user's own environment. True when it
    /// came to its end within a minute and none of its expectations failed.
    bool run(const std::function<void()>& work) const;

private:
    std::string userName;
    std::string homeFolder;
    uid_t userID = 0;
    gid_t groupID = 0;
};

class PolkitFixture : public testing::Test {
protected:
    /// `helper` is the program that polkit may start for the user, `policy` the file that names it
    /// by its installed path.
    PolkitFixture(std::string helper, std::string policy);
    ~PolkitFixture() override;
    void SetUp() override;

    const TestUser& user() const { return *testUser; }
    /// From now on polkit says this ("YES", "NO") to the user. False when it does not.
    bool answer(const std::string& result);

private:
    void startServices();
    void installPolicy();

    std::string helper, policy;
    std::unique_ptr<TestUser> testUser;
    std::vector<std::string> files;
    std::vector<pid_t> services;
    int lock = -1;
};
