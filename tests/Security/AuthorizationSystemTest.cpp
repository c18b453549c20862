// The whole way with a password on a real machine: an ordinary user, sudo and su.

#include "AuthorizationFixture.h"
#include "support/TestUser.h"

#include <unistd.h>

TEST_F(AuthorizationTest, APasswordIsItsUsersOwnAndMustBeAnAdministrators) {
    const TestUser user("user"), administrator("admin");
    const std::string password = "secret of ünusual form '\"$x";
    if (access("/usr/bin/sudo", X_OK) != 0 || !user.prepare("password " + password) ||
        !administrator.prepare("password " + password)) {
        GTEST_SKIP() << "needs the superuser and sudo";
    }
    machine->authorization = AuthorizationMode::system;
    const std::string superuser = "0\n", refused = "<-60005>";
    ASSERT_TRUE(administrator.prepare("usermod --append --groups sudo " + administrator.name()));
    const struct {
        const TestUser &process, &user;
        std::string password, result;
    } cases[] = {
        {administrator, administrator, password, superuser}, // with sudo
        {administrator, administrator, password + "\n", refused},
        {user, user, password, refused},            // no administrator
        {user, administrator, password, superuser}, // with su, then sudo
        {user, administrator, "wrong", refused},
    };
    for (const auto& each : cases) {
        machine->user = each.process.name();
        EXPECT_TRUE(each.process.run([&] {
            const AuthorizationEnvironment environment{
                {kAuthorizationEnvironmentUsername, each.user.name(), 0},
                {kAuthorizationEnvironmentPassword, each.password, 0}};
            copyRights(withoutDialog, &environment);
            EXPECT_EQ(outputOf("/usr/bin/id", {"-u"}), each.result) << each.password;
        })) << each.process.name();
    }
}
