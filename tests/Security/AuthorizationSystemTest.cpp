// The whole way on a real machine: an ordinary user, polkit's pkexec, sudo and su.

#include "Security/Authorization.h"
#include "support/TestUser.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

/// What the tool "id -u" says with the rights that were asked for; the error without them.
std::string userWithRights(const AuthorizationEnvironment* environment, AuthorizationFlags flags) {
    AuthorizationRef ref = nullptr;
    AuthorizationCreate(nullptr, nullptr, 0, &ref);
    const auto status =
        AuthorizationCopyRights(ref, {{kAuthorizationRightExecute, {}, 0}}, environment, flags);
    AuthorizationStream output;
    EXPECT_EQ(AuthorizationExecuteWithPrivileges(ref, "/usr/bin/id", 0, {"-u"}, &output), status);
    const int first = output ? std::getc(output.get()) : 0;
    AuthorizationFree(ref, 0);
    return output ? std::string(1, static_cast<char>(first)) : std::to_string(status);
}

const std::string superuser = "0", refused = std::to_string(errAuthorizationDenied);

} // namespace

TEST(AuthorizationSystemTest, PolkitDecides) {
    const TestUser user("user");
    if (!user.hasPolkit()) {
        GTEST_SKIP() << "needs the superuser and polkit";
    }
    EXPECT_TRUE(user.run([] { EXPECT_EQ(userWithRights(nullptr, 19), superuser); }));
    ASSERT_TRUE(user.prepare("answer NO"));
    EXPECT_TRUE(user.run([] { EXPECT_EQ(userWithRights(nullptr, 19), refused); }));
}

TEST(AuthorizationSystemTest, APasswordIsItsUsersOwnAndMustBeAnAdministrators) {
    const TestUser user("user"), administrator("admin");
    if (access("/usr/bin/sudo", X_OK) != 0 ||
        !administrator.prepare("usermod --append --groups sudo " + administrator.name())) {
        GTEST_SKIP() << "needs the superuser and sudo";
    }
    const std::string password = "secret of ünusual form '\"$x";
    FILE* passwords = popen("chpasswd", "w");
    for (const auto* each : {&user, &administrator}) {
        std::fprintf(passwords, "%s:%s\n", each->name().c_str(), password.c_str());
    }
    ASSERT_EQ(pclose(passwords), 0);
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
        EXPECT_TRUE(each.process.run([&] {
            const AuthorizationEnvironment environment{
                {kAuthorizationEnvironmentUsername, each.user.name(), 0},
                {kAuthorizationEnvironmentPassword, each.password, 0}};
            EXPECT_EQ(userWithRights(&environment, 18), each.result) << each.password;
        })) << each.process.name();
    }
}
