#include "LiveHelper.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>

namespace fs = std::filesystem;

namespace {

const AuthorizationRights admin{{kAuthorizationRightExecute, {}, 0}};
constexpr AuthorizationFlags interactive = 19;
constexpr AuthorizationFlags withoutDialog = 18;

class AuthorizationTest : public RealTimeMachineTest {
protected:
    AuthorizationTest() { AuthorizationCreate(nullptr, nullptr, 0, &ref); }
    ~AuthorizationTest() override { AuthorizationFree(ref, kAuthorizationFlagDefaults); }

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
        std::string text = stream ? "" : "<" + std::to_string(status) + ">";
        for (int byte = 0; stream && (byte = std::getc(stream.get())) != EOF;) {
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
        answerDialogWith("exec \"$2\"");
        ASSERT_EQ(copyRights(), errAuthorizationSuccess);
    }
};

} // namespace

TEST_F(AuthorizationTest, ChecksWhatItIsGiven) {
    AuthorizationRef other = nullptr;
    const std::string tooLong(512, 'a');
    for (const char* name :
         {"", kAuthorizationEnvironmentUsername, kAuthorizationEnvironmentPassword}) {
        const AuthorizationEnvironment environment{{name, tooLong, 0}};
        EXPECT_EQ(AuthorizationCreate(nullptr, &environment, 0, &other), errAuthorizationInvalidSet)
            << name;
    }
    EXPECT_EQ(AuthorizationCopyRights(ref, {}, nullptr, interactive), errAuthorizationInvalidSet);
    EXPECT_EQ(AuthorizationCopyRights(ref, {{"system.other", {}, 0}}, nullptr, interactive),
              errAuthorizationDenied);
    EXPECT_EQ(copyRights(withoutDialog), errAuthorizationInteractionNotAllowed);
    EXPECT_EQ(copyRights(kAuthorizationFlagInteractionAllowed), errAuthorizationDenied);
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationDenied) << "no rights were copied";
    EXPECT_EQ(AuthorizationFree(ref, 0), errAuthorizationSuccess);
    EXPECT_EQ(AuthorizationFree(ref, 0), errAuthorizationInvalidRef);
    EXPECT_EQ(copyRights(), errAuthorizationInvalidRef);
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInvalidRef);
}

TEST_F(AuthorizationTest, TellsARefusalFromADismissedDialog) {
    const std::pair<const char*, OSStatus> answers[] = {
        {"exit 126", errAuthorizationCanceled},
        {"echo tessaline; kill -9 $$", errAuthorizationDenied},
    };
    for (const auto& [answer, status] : answers) {
        answerDialogWith(answer);
        EXPECT_EQ(copyRights(), status) << answer;
    }
    machine->tools["/usr/bin/pkexec"] = "";
    EXPECT_EQ(copyRights(), errAuthorizationInternal);
    EXPECT_EQ(machine->consoleLines().at(0),
              "Administrator rights need /usr/bin/pkexec, which is not there");
}

TEST_F(AuthorizationTest, OnlyTheSuperusersToolsInherit) {
    const auto parent = std::to_string(getppid());
    for (const auto& [value, user] :
         {std::pair{parent, 0U}, {parent, 501U}, {"1" + parent, 0U}, {std::string(), 0U}}) {
        setenv(AuthorizationProtocol::parentVariable, value.c_str(), 1);
        machine->userID = user;
        AuthorizationRef inherited = nullptr;
        AuthorizationCopyPrivilegedReference(&inherited, 0);
        EXPECT_EQ(AuthorizationExecuteWithPrivileges(inherited, "/bin/true", 0, {}, nullptr),
                  value == parent && user == 0 ? errAuthorizationSuccess
                                               : errAuthorizationInvalidRef)
            << value << " " << user;
        AuthorizationFree(inherited, 0);
    }
    unsetenv(AuthorizationProtocol::parentVariable);
}

TEST_F(GrantedAuthorizationTest, AsksOnceAndRunsToolsAsTheSuperuser) {
    EXPECT_EQ(copyRights(), errAuthorizationSuccess);
    EXPECT_EQ(outputOf("/bin/echo", {"-n", "line\nfeed", "\xff"}), "line\nfeed \xff");
    EXPECT_EQ(outputOf("/bin/sh", {"-c", "id -u; echo error >&2; cat"}), "0\n");
    EXPECT_EQ(execute("/bin/echo", {"into the null device"}), errAuthorizationSuccess);
    EXPECT_EQ(outputOf("/no/such/tool", {}), "<-60031>");
    EXPECT_EQ(execute("/bin/echo", {std::string(200'000, 'a')}),
              errAuthorizationToolExecuteFailure);
    EXPECT_EQ(dialogsShown(), 1U);
}

TEST_F(GrantedAuthorizationTest, ToolsStartWithNothingOfOurs) {
    const FileDescriptor ours(open("/dev/null", O_RDONLY)); // inheritable
    // The fourth is the listing itself.
    EXPECT_EQ(outputOf("/bin/sh", {"-c", "cd /proc/self/fd && echo *"}), "0 1 2 3\n");
    const auto environment = outputOf("/usr/bin/env", {});
    EXPECT_TRUE(environment.starts_with(
        "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\nUSER=root\nLOGNAME=root\n"
        "SHELL=/bin/sh\nLANG=C.UTF-8\nTESSALINE_AUTHORIZATION="));
    EXPECT_EQ(std::count(environment.begin(), environment.end(), '\n'), 7);
    // No signal is blocked or ignored; the two above 31 are the C library's own.
    constexpr const char* signals =
        "while read name mask; do case $name in SigBlk:|SigIgn:) "
        "echo $((0x$mask & 0x7fffffff));; esac; done </proc/self/status";
    EXPECT_EQ(outputOf("/bin/sh", {"-c", signals}), "0\n0\n");
}

TEST_F(GrantedAuthorizationTest, AKilledHelperIsAnErrorAndTheNextCallAsksAgain) {
    const auto helper = [&] { return std::stoi(outputOf("/bin/sh", {"-c", "echo $PPID"})); };
    const auto first = helper();
    kill(first, SIGKILL);
    EXPECT_TRUE(ends(first));
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInternal);
    EXPECT_EQ(dialogsShown(), 1U);
    const auto second = helper();
    EXPECT_EQ(dialogsShown(), 2U);
    AuthorizationFree(ref, 0);
    EXPECT_TRUE(ends(second)) << "freeing the rights ends the helper";
}
