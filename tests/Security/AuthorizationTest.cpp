#include "LiveHelper.h"
#include "support/TestMachine.h"

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

const AuthorizationRights admin{{kAuthorizationRightExecute, {}, 0}};
constexpr AuthorizationFlags interactive = 19;
constexpr AuthorizationFlags withoutDialog = 18;

class AuthorizationTest : public RealTimeMachineTest {
protected:
    ~AuthorizationTest() override { AuthorizationFree(ref, kAuthorizationFlagDefaults); }
    void SetUp() override { AuthorizationCreate(nullptr, nullptr, 0, &ref); }

    OSStatus copyRights(AuthorizationFlags flags = interactive) {
        return AuthorizationCopyRights(ref, admin, nullptr, flags);
    }
    OSStatus execute(const std::string& tool, const std::vector<std::string>& arguments) {
        return AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, nullptr);
    }
    /// What the tool printed, or its error in angle brackets.
    std::string outputOf(const std::string& tool, const std::vector<std::string>& arguments) {
        AuthorizationStream stream;
        const auto status = AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, &stream);
        if (status != errAuthorizationSuccess || !stream) {
            return "<" + std::to_string(status) + ">";
        }
        std::string text;
        for (int byte = 0; (byte = std::getc(stream.get())) != EOF;) {
            text += static_cast<char>(byte);
        }
        return text;
    }
    /// In the place of pkexec: notes that it was asked, then answers with a shell command.
    void answerDialogWith(const std::string& command) {
        const auto program = directory.path() + "/pkexec";
        std::ofstream(program) << "#!/bin/sh\necho asked >>'" << dialogs << "'\n" << command;
        fs::permissions(program, fs::perms::owner_all);
        machine->tools["/usr/bin/pkexec"] = program;
        machine->authorization = AuthorizationMode::system;
    }
    std::size_t dialogsShown() const {
        return fs::exists(dialogs) ? fs::file_size(dialogs) / sizeof "asked" : 0;
    }

    const std::string dialogs = directory.path() + "/dialogs";
    AuthorizationRef ref = nullptr;
};

/// The dialog's answer is yes: pkexec turns into the helper.
class GrantedAuthorizationTest : public AuthorizationTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "the helper works for the superuser alone";
        }
        AuthorizationTest::SetUp();
        answerDialogWith("exec \"$2\"");
        ASSERT_EQ(copyRights(), errAuthorizationSuccess);
    }
};

} // namespace

TEST_F(AuthorizationTest, ChecksWhatItIsGiven) {
    AuthorizationRef other = nullptr;
    const std::string longName(300, 'a');
    const std::string longPassword(512, 'a');
    for (const AuthorizationEnvironment& environment :
         {AuthorizationEnvironment{{"", "value", 0}},
          AuthorizationEnvironment{{kAuthorizationEnvironmentUsername, longName, 0}},
          AuthorizationEnvironment{{kAuthorizationEnvironmentPassword, longPassword, 0}}}) {
        EXPECT_EQ(AuthorizationCreate(nullptr, &environment, 0, &other),
                  errAuthorizationInvalidSet);
    }
    EXPECT_EQ(other, nullptr);
    EXPECT_EQ(AuthorizationCopyRights(nullptr, admin, nullptr, interactive),
              errAuthorizationInvalidRef);
    EXPECT_EQ(AuthorizationCopyRights(ref, {}, nullptr, interactive), errAuthorizationInvalidSet);
    EXPECT_EQ(AuthorizationCopyRights(ref, {{"system.other", {}, 0}}, nullptr, interactive),
              errAuthorizationDenied);
    EXPECT_EQ(copyRights(withoutDialog), errAuthorizationInteractionNotAllowed);
    EXPECT_EQ(copyRights(kAuthorizationFlagInteractionAllowed), errAuthorizationDenied);
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationDenied) << "no rights were copied";
    EXPECT_EQ(AuthorizationFree(ref, 0), errAuthorizationSuccess);
    EXPECT_EQ(AuthorizationFree(ref, 0), errAuthorizationInvalidRef);
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInvalidRef);
}

TEST_F(AuthorizationTest, GrantRunsToolsAsThisUserAndDenyRefuses) {
    machine->authorization = AuthorizationMode::deny;
    EXPECT_EQ(copyRights(), errAuthorizationDenied);
    machine->authorization = AuthorizationMode::grant;
    EXPECT_EQ(copyRights(), errAuthorizationSuccess);
    EXPECT_EQ(outputOf("/usr/bin/id", {"-u"}), std::to_string(geteuid()) + "\n");
    EXPECT_EQ(outputOf("/bin/echo", {"two  blanks", "\xff"}), "two  blanks \xff\n");
    EXPECT_EQ(execute("/no/such/tool", {}), errAuthorizationToolExecuteFailure);
}

TEST_F(AuthorizationTest, TellsARefusalFromADismissedDialog) {
    constexpr std::array<std::pair<const char*, OSStatus>, 3> answers{{
        {"exit 126", errAuthorizationCanceled},
        {"exit 127", errAuthorizationDenied},
        {"echo tessaline; kill -9 $$", errAuthorizationDenied},
    }};
    for (const auto& [answer, status] : answers) {
        answerDialogWith(answer);
        EXPECT_EQ(copyRights(), status) << answer;
    }
    machine->tools["/usr/bin/pkexec"] = "";
    EXPECT_EQ(copyRights(), errAuthorizationInternal);
    EXPECT_EQ(
        machine->consoleLines(),
        std::vector<std::string>{"Administrator rights need /usr/bin/pkexec, which is not there"});
}

TEST_F(AuthorizationTest, OnlyTheSuperusersToolsInherit) {
    const auto parent = std::to_string(getppid());
    for (const auto& [value, user] :
         {std::pair{parent, 0}, {parent, 501}, {"1" + parent, 0}, {std::string(), 0}}) {
        const bool inherits = value == parent && user == 0;
        setenv(AuthorizationProtocol::parentVariable, value.c_str(), 1);
        machine->userID = static_cast<uid_t>(user);
        AuthorizationRef inherited = nullptr;
        AuthorizationCopyPrivilegedReference(&inherited, 0);
        EXPECT_EQ(AuthorizationExecuteWithPrivileges(inherited, "/bin/true", 0, {}, nullptr),
                  inherits ? errAuthorizationSuccess : errAuthorizationInvalidRef)
            << value << " " << user;
        AuthorizationFree(inherited, 0);
    }
    unsetenv(AuthorizationProtocol::parentVariable);
}

TEST_F(GrantedAuthorizationTest, AsksOnceAndRunsToolsAsTheSuperuser) {
    EXPECT_EQ(copyRights(), errAuthorizationSuccess);
    EXPECT_EQ(outputOf("/usr/bin/id", {"-u"}), "0\n");
    EXPECT_EQ(outputOf("/bin/echo", {"-n", "line\nfeed", "\xff"}), "line\nfeed \xff");
    EXPECT_EQ(outputOf("/bin/sh", {"-c", "echo out; echo error >&2; cat"}), "out\n");
    EXPECT_EQ(execute("/bin/echo", {"into the null device"}), errAuthorizationSuccess);
    EXPECT_EQ(outputOf("/no/such/tool", {}), "<-60031>");
    EXPECT_EQ(execute("/bin/echo", {std::string(200'000, 'a')}),
              errAuthorizationToolExecuteFailure);
    EXPECT_EQ(dialogsShown(), 1U);
}

TEST_F(GrantedAuthorizationTest, ToolsStartWithNothingOfOurs) {
    const FileDescriptor ours(open("/dev/null", O_RDONLY)); // inheritable
    EXPECT_EQ(outputOf("/bin/sh", {"-c", "cd /proc/self/fd && echo *; umask; pwd"}).substr(0, 6),
              "0 1 2 ");
    auto environment = outputOf("/usr/bin/env", {});
    const auto variable = environment.find("TESSALINE_AUTHORIZATION=");
    ASSERT_NE(variable, std::string::npos);
    EXPECT_EQ(environment.substr(0, variable),
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\nUSER=root\nLOGNAME=root\n"
              "SHELL=/bin/sh\nLANG=C.UTF-8\n");
    EXPECT_EQ(environment.find('\n', variable), environment.size() - 1);
    // No signal is blocked or ignored; the two above 31 are the C library's own.
    constexpr const char* signals =
        "while read name mask; do case $name in SigBlk:|SigIgn:) "
        "echo $((0x$mask & 0x7fffffff));; esac; done </proc/self/status";
    EXPECT_EQ(outputOf("/bin/sh", {"-c", signals}), "0\n0\n");
}

TEST_F(GrantedAuthorizationTest, AKilledHelperIsAnErrorAndTheNextCallAsksAgain) {
    const auto helper = std::stoi(outputOf("/bin/sh", {"-c", "echo $PPID"}));
    kill(helper, SIGKILL);
    EXPECT_TRUE(ends(helper));
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInternal);
    EXPECT_EQ(dialogsShown(), 1U);
    EXPECT_EQ(outputOf("/usr/bin/id", {"-u"}), "0\n");
    EXPECT_EQ(dialogsShown(), 2U);
}

TEST_F(GrantedAuthorizationTest, FreeingEndsTheHelper) {
    const auto helper = std::stoi(outputOf("/bin/sh", {"-c", "echo $PPID"}));
    EXPECT_EQ(kill(helper, 0), 0);
    AuthorizationFree(ref, 0);
    EXPECT_TRUE(ends(helper));
}
