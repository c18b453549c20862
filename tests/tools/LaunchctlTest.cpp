#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"

#include <cstdlib>
#include <gtest/gtest.h>

/// The script is the test, with one of the engines. It says itself what is not as it should be.
static bool behavesWith(const std::string& engine, const std::string& runtimeFolder) {
    setenv("XDG_RUNTIME_DIR", runtimeFolder.c_str(), 1);
    setenv("TESSALINE_LAUNCHD_ENGINE", engine.c_str(), 1);
    const int status = std::system(SOURCE_DIRECTORY "/tests/tools/launchctl.sh " TOOLS_DIRECTORY);
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("TESSALINE_LAUNCHD_ENGINE");
    return status == 0;
}

TEST(LaunchctlTest, BehavesWithASupervisor) {
    const TemporaryDirectory runtime;
    EXPECT_TRUE(behavesWith("supervisor", runtime.path()));
}

TEST(LaunchctlTest, BehavesWithARealUserManager) {
    const TestUser user("launchd");
    if (!user.prepare("manager")) {
        GTEST_SKIP() << "needs the superuser, and systemd's user manager does not start everywhere";
    }
    EXPECT_TRUE(user.run([&] { EXPECT_TRUE(behavesWith("systemd", user.home() + "/run")); }));
}
