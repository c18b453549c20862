#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// The script is the test, and says itself what is not as it should be.
bool holds(const std::string& script, const std::string& arguments) {
    const auto command = SOURCE_DIRECTORY "/tests/tools/" + script + " " TOOLS_DIRECTORY " ";
    return std::system((command + arguments).c_str()) == 0;
}

class FilesTest : public testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "needs the superuser";
        }
    }
    const TemporaryDirectory folder;
};

} // namespace

TEST_F(FilesTest, PrivilegedToolsFollowNoLinkAndLeaveNoHalfFile) {
    EXPECT_TRUE(holds("files.sh", folder.path()));
}

TEST_F(FilesTest, AFileThatTakesAFoldersPlaceDuringItsMoveStaysOutside) {
    const auto theirs = folder.path() + "/theirs", ours = folder.path() + "/ours";
    const auto prepare = "cd " + folder.path() +
                         " && rm -rf theirs ours && mkdir -p theirs/a ours && touch theirs/b && "
                         "chown -R 1001 theirs";
    const auto move = TOOLS_DIRECTORY "/mv -f " + theirs + "/a " + ours + " 2>/dev/null";
    for (int i = 0; i < 40; ++i) {
        ASSERT_EQ(std::system(prepare.c_str()), 0);
        const pid_t other = fork();
        if (other == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (;;) {
                renameat2(AT_FDCWD, (theirs + "/a").c_str(), AT_FDCWD, (theirs + "/b").c_str(),
                          RENAME_EXCHANGE);
            }
        }
        EXPECT_NE(std::system(move.c_str()), -1); // it may move the one or the other
        kill(other, SIGKILL);
        waitpid(other, nullptr, 0);
        struct stat status {};
        EXPECT_FALSE(stat((ours + "/a").c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
                     status.st_uid != 0);
    }
}

TEST(KillallTest, EndsProgramsAndScriptsByTheirNamesInTheSandboxAlone) {
    const TemporaryDirectory folder;
    EXPECT_TRUE(holds("killall.sh", folder.path()));
}

TEST(LaunchctlTest, BehavesWithASupervisor) {
    const TemporaryDirectory runtime;
    EXPECT_TRUE(holds("launchctl.sh", "supervisor " + runtime.path()));
}

TEST(LaunchctlTest, BehavesWithARealUserManager) {
    const TestUser user("launchd");
    if (!user.prepare("manager")) {
        GTEST_SKIP() << "needs the superuser, and systemd's user manager does not start everywhere";
    }
    EXPECT_TRUE(
        user.run([&] { EXPECT_TRUE(holds("launchctl.sh", "systemd " + user.home() + "/run")); }));
}
