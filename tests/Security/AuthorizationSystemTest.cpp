// The whole way on a real machine: an ordinary user, polkit's pkexec, sudo and su.

#include "Security/Authorization.h"
#include "support/PolkitFixture.h"
#include "support/TemporaryDirectory.h"

#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const AuthorizationRights admin{{kAuthorizationRightExecute, {}, 0}};

class AuthorizationSystemTest : public PolkitFixture {
protected:
    AuthorizationSystemTest()
        : PolkitFixture(TOOLS_DIRECTORY "/authorization-helper",
                        BINARY_DIRECTORY "/packaging/com.quorvane.tessaline.policy") {}

    void SetUp() override {
        PolkitFixture::SetUp();
        chmod(directory.path().c_str(), 0755);
    }
    /// Has the tool copy a file of the user's into the folder of root's, and waits for it.
    OSStatus copyInto(AuthorizationRef ref, const std::string& name) const {
        std::ofstream(user().home() + "/file") << name;
        AuthorizationStream output;
        const auto status = AuthorizationExecuteWithPrivileges(
            ref, "/bin/cp", 0, {user().home() + "/file", directory.path() + "/" + name}, &output);
        while (output && std::getc(output.get()) != EOF) {
        }
        return status;
    }
    /// The owner of that file; none when there is no such file.
    std::optional<uid_t> ownerOf(const std::string& name) const {
        struct stat status {};
        return stat((directory.path() + "/" + name).c_str(), &status) == 0
                   ? std::optional(status.st_uid)
                   : std::nullopt;
    }

    TemporaryDirectory directory;
};

} // namespace

TEST_F(AuthorizationSystemTest, PolkitDecides) {
    const auto ask = [] {
        AuthorizationRef ref = nullptr;
        AuthorizationCreate(nullptr, nullptr, 0, &ref);
        const auto status = AuthorizationCopyRights(ref, admin, nullptr, 19);
        return std::pair(ref, status);
    };
    EXPECT_TRUE(user().run([&] {
        const auto [ref, status] = ask();
        EXPECT_EQ(status, errAuthorizationSuccess);
        EXPECT_EQ(copyInto(ref, "allowed"), errAuthorizationSuccess);
        EXPECT_EQ(AuthorizationFree(ref, 0), errAuthorizationSuccess);
    }));
    EXPECT_EQ(ownerOf("allowed"), uid_t{0});

    ASSERT_TRUE(answer("NO"));
    EXPECT_TRUE(user().run([&] {
        const auto [ref, status] = ask();
        EXPECT_EQ(status, errAuthorizationDenied);
        EXPECT_EQ(copyInto(ref, "refused"), errAuthorizationDenied);
    }));
    EXPECT_EQ(ownerOf("refused"), std::nullopt);
}

TEST_F(AuthorizationSystemTest, APasswordIsItsUsersOwnAndMustBeAnAdministrators) {
    if (access("/usr/bin/sudo", X_OK) != 0) {
        GTEST_SKIP() << "needs sudo";
    }
    const TestUser administrator("admin");
    const std::string password = "secret of ünusual form '\"$x";
    runCommand({"usermod", "--append", "--groups", "sudo", administrator.name()});
    ASSERT_EQ(runCommand({"chpasswd"}, administrator.name() + ":" + password + "\n" +
                                           user().name() + ":" + password + "\n"),
              0);
    struct Case {
        const TestUser& process;
        std::string user, password;
        bool allowed;
    };
    const Case cases[] = {
        {administrator, administrator.name(), password, true}, // with sudo
        {administrator, administrator.name(), "wrong", false},
        {administrator, administrator.name(), password + "\n", false},
        {user(), user().name(), password, false},       // no administrator
        {user(), administrator.name(), password, true}, // with su, then sudo
        {user(), administrator.name(), "wrong", false},
        {user(), "no-such-user", password, false},
    };
    for (const auto& [process, name, secret, allowed] : cases) {
        EXPECT_TRUE(process.run([&, &name = name, &secret = secret, expected = allowed] {
            const AuthorizationEnvironment environment{
                {kAuthorizationEnvironmentUsername, name, 0},
                {kAuthorizationEnvironmentPassword, secret, 0}};
            AuthorizationRef ref = nullptr;
            AuthorizationCreate(nullptr, &environment, 0, &ref);
            EXPECT_EQ(AuthorizationCopyRights(ref, admin, &environment, 18),
                      expected ? errAuthorizationSuccess : errAuthorizationDenied)
                << name << " " << secret;
            AuthorizationStream output;
            EXPECT_EQ(AuthorizationExecuteWithPrivileges(ref, "/usr/bin/id", 0, {"-u"}, &output),
                      expected ? errAuthorizationSuccess : errAuthorizationDenied);
            EXPECT_EQ(output ? std::getc(output.get()) : '-', expected ? '0' : '-');
        }));
    }
}
