#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

/// The script is the test, and says itself what is not as it should be.
bool behavesWith(const std::string& engine, const std::string& runtimeFolder) {
    const std::string script = SOURCE_DIRECTORY "/tests/tools/launchctl.sh " TOOLS_DIRECTORY " ";
    return std::system((script + engine + " " + runtimeFolder).c_str()) == 0;
}

} // namespace

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
