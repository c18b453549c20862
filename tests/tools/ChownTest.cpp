#include "support/TemporaryDirectory.h"

#include <fstream>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

TEST(ChownTest, ReadsWheelAsTheSuperusersGroup) {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/-a b:wheel";
    std::ofstream(path) << "";
    const bool isSuperuser = geteuid() == 0;
    if (isSuperuser) {
        ASSERT_EQ(chown(path.c_str(), 12345, 12345), 0);
    }
    const auto run = [&path](const std::string& owner) {
        return std::system(
            (TOOLS_DIRECTORY "/chown -- " + owner + " '" + path + "' 2>/dev/null").c_str());
    };
    const bool changed = run("root:wheel") == 0;
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    // Nobody but the superuser may give a file away.
    EXPECT_EQ(changed, isSuperuser);
    EXPECT_EQ(status.st_uid == 0 && status.st_gid == 0, isSuperuser);
    EXPECT_NE(run("root:no-such-group"), 0);
}
