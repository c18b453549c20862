#include "support/TemporaryDirectory.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <unistd.h>

/// The script is the test, and says itself what is not as it should be.
TEST(FilesTest, PrivilegedToolsFollowNoLinkAndLeaveNoHalfFile) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the superuser";
    }
    EXPECT_EQ(std::system(SOURCE_DIRECTORY "/tests/tools/files.sh " TOOLS_DIRECTORY), 0);
}

TEST(KillallTest, EndsProgramsAndScriptsByTheirNamesInTheSandboxAlone) {
    const TemporaryDirectory folder;
    const std::string script = SOURCE_DIRECTORY "/tests/tools/killall.sh " TOOLS_DIRECTORY " ";
    EXPECT_EQ(std::system((script + folder.path()).c_str()), 0);
}
