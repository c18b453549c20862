#include "Security/Authorization.h"
#include "Foundation/NSFileManager.h"
#include "Security/AuthorizationProtocol.h"
#include "support/RealTime.h"
#include "support/TestMachine.h"
#include "System/FileDescriptor.h"
#include "System/FileReading.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/timerfd.h>
#include <sys/wait.h>

namespace fs = std::filesystem;
using namespace AuthorizationProtocol;
using namespace std::string_literals;

namespace {

/// A shell command stands in for pkexec and its dialog; "$2" is the helper.
class AuthorizationTest : public RealTimeMachineTest {
protected:
    AuthorizationTest() { AuthorizationCreate(nullptr, nullptr, 0, &ref); }
    ~AuthorizationTest() override { AuthorizationFree(ref, 0); }
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "the helper works for the superuser alone";
        }
        machine->authorization = AuthorizationMode::system;
        answerWith("exec \"$2\"");
    }
    void answerWith(const std::string& command) const {
        machine->makeTool("/usr/bin/pkexec",
                          "echo asked >>" + dialogs + "; echo $$ >" + process + "\n" + command);
    }
    std::size_t dialogsShown() const { return fs::file_size(dialogs) / sizeof "asked"; }

    OSStatus copyRights(const AuthorizationRights& rights = {{kAuthorizationRightExecute, {}, 0}},
                        const AuthorizationEnvironment& environment = {}) const {
        constexpr AuthorizationFlags interactive = 19;
        return AuthorizationCopyRights(ref, rights, &environment, interactive);
    }
    OSStatus execute(const std::string& tool, const std::vector<std::string>& arguments) const {
        return AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, nullptr);
    }
    /// What the tool printed, or its error in angle brackets.
    std::string outputOf(const std::string& tool, const std::vector<std::string>& arguments) const {
        AuthorizationStream stream;
        const auto status = AuthorizationExecuteWithPrivileges(ref, tool, 0, arguments, &stream);
        std::string text = stream ? "" : "<" + std::to_string(status) + ">";
        for (int byte = 0; stream && (byte = std::getc(stream.get())) != EOF;) {
            text += static_cast<char>(byte);
        }
        return text;
    }
    /// The one that was started last.
    pid_t helper() const { return std::stoi(contentsOfFile(process).value_or("0")); }

    const std::string dialogs = directory.path() + "/dialogs";
    const std::string process = directory.path() + "/process";
    AuthorizationRef ref = nullptr;
};

} // namespace

TEST_F(AuthorizationTest, TellsARefusalFromADismissedDialog) {
    const std::pair<const char*, OSStatus> answers[] = {
        {"exit 126", errAuthorizationCanceled},
        {"echo tessaline; kill -9 $$", errAuthorizationDenied},
        // A helper serves nobody who is not among those that started it.
        {"(until read -r _ _ _ parent _ </proc/self/stat && [ $parent != $$ ]; do :; done\n"
         "exec \"$2\") &",
         errAuthorizationDenied},
        // Nobody waits for a program that says nothing more.
        {"exec python3 -c 'import socket; own = socket.socket(fileno=1); own.send(b\"\"); "
         "own.recv(1)'",
         errAuthorizationDenied},
    };
    for (const auto& [answer, status] : answers) {
        answerWith(answer);
        EXPECT_EQ(copyRights(), status) << answer;
    }
    const auto before = dialogsShown();
    const AuthorizationItem known{kAuthorizationRightExecute, {}, 0};
    const AuthorizationItem unknown{"system.other", {}, 0}, nameless{};
    const std::string tooLong(512, 'p');
    const AuthorizationItem password{kAuthorizationEnvironmentPassword, tooLong, 0};
    EXPECT_EQ(copyRights({}), errAuthorizationInvalidSet);
    EXPECT_EQ(copyRights({known, nameless}), errAuthorizationInvalidSet);
    EXPECT_EQ(copyRights({known}, {password}), errAuthorizationInvalidSet);
    EXPECT_EQ(copyRights({known, unknown}), errAuthorizationDenied);
    machine->tools["/usr/bin/sudo"] = "";
    machine->makeTool("/bin/su", "read -r line; [ \"$line\" = secret ] && exec \"$7\"");
    const AuthorizationItem root{kAuthorizationEnvironmentUsername, "root", 0};
    for (const std::string given : {"wrong", "secret"}) {
        EXPECT_EQ(copyRights({known}, {root, {kAuthorizationEnvironmentPassword, given, 0}}),
                  given == "secret" ? errAuthorizationSuccess : errAuthorizationDenied);
    }
    machine->userID = 0;
    setenv(parentVariable, std::to_string(getpid()).c_str(), 1);
    EXPECT_EQ(AuthorizationCopyPrivilegedReference(&ref, 0), errAuthorizationDenied);
    unsetenv(parentVariable);
    EXPECT_EQ(dialogsShown(), before);
}

TEST_F(AuthorizationTest, AsksOnceAndRunsToolsAsTheSuperuser) {
    const auto usual = umask(0);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(copyRights(), errAuthorizationSuccess);
    }
    EXPECT_EQ(outputOf("/bin/echo", {"-n", "line\nfeed", "\xff"}), "line\nfeed \xff");
    umask(usual);
    EXPECT_EQ(outputOf("/no/such/tool", {}), "<-60031>");
    const FileDescriptor ours(open("/dev/null", O_RDONLY)); // inheritable
    for (const auto& [script, output] :
         {std::pair{"id -u; echo error >&2; cat", "0\n"},
          // Without core files, in a session of its own, with nothing of ours.
          {"umask; ulimit -Hc; cut -d' ' -f6 /proc/$$/stat | grep -cx $$", "0022\n0\n1\n"},
          {"cd /proc/self/fd && echo *", "0 1 2 3\n"}, // the fourth is the listing itself
          // No signal is blocked or ignored; the two above 31 are the C library's own.
          {"grep -cE 'Sig(Blk|Ign):.0{7}[01][08]0{7}' /proc/self/status", "2\n"}}) {
        EXPECT_EQ(outputOf("/bin/sh", {"-c", script}), output);
    }
    EXPECT_EQ(outputOf("/usr/bin/env", {"-u", parentVariable, "env"}),
              "PATH=/usr/sbin:/usr/bin:/sbin:/bin\nHOME=/root\nUSER=root\nLOGNAME=root\n"
              "SHELL=/bin/sh\nLANG=C.UTF-8\n");
    const auto file = directory.path() + "/file";
    execute("/bin/sh", {"-c", "until [ -e " + file + " ]; do sleep 0.1; done"});
    execute("/bin/touch", {file}); // does not wait for ever
    execute("/bin/sh", {"-c", "sleep 0.1; echo first >>" + file});
    execute("/bin/sh", {"-c", "echo second >>" + file});
    EXPECT_EQ(outputOf("/bin/cat", {file}), "first\nsecond\n") << "one after the other";
    for (const auto& much : {std::vector{std::string(maximumRequest, 'a')},
                             std::vector<std::string>(maximumArguments + 1),
                             {"a\0b"s}}) {
        EXPECT_EQ(execute("/bin/echo", much), errAuthorizationToolExecuteFailure);
    }
    EXPECT_FALSE(encode({false, "bin/echo", {}}));
    EXPECT_EQ(dialogsShown(), 2U) << "once for files, once for any tool";
}

TEST_F(AuthorizationTest, AKilledHelperIsAnErrorAndTheNextCallAsksAgain) {
    copyRights();
    const auto first = helper();
    kill(first, SIGKILL);
    EXPECT_TRUE(ends(first));
    EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInternal);
    const auto parent = outputOf("/bin/sh", {"-c", "echo -n $PPID"});
    const auto second = helper();
    EXPECT_EQ(parent, std::to_string(second));
    EXPECT_EQ(dialogsShown(), 3U) << "one of them for files alone";
    AuthorizationFree(ref, 0);
    EXPECT_TRUE(ends(second)) << "freeing the rights ends the helper";
}

TEST_F(AuthorizationTest, AnotherProcessWithItsSocketEndsTheHelper) {
    constexpr uid_t nobody = 65534;
    for (const uid_t user : {uid_t{0}, nobody}) {
        copyRights();
        const auto serving = helper();
        const auto file = directory.path() + "/made-by-" + std::to_string(user);
        const pid_t other = fork();
        if (other == 0) {
            _exit(setuid(user) != 0 || execute("/bin/touch", {file}) != errAuthorizationInternal);
        }
        int status = -1;
        waitpid(other, &status, 0);
        EXPECT_EQ(status, 0);
        EXPECT_TRUE(ends(serving) && !fs::exists(file)) << user;
        EXPECT_EQ(execute("/bin/true", {}), errAuthorizationInternal);
    }
    // Nor does the helper outlive its owner, whoever holds the socket by then.
    const pid_t owner = fork();
    if (owner == 0) {
        copyRights();
        _exit(fork() == 0 && ends(helper()));
    }
    waitpid(owner, nullptr, 0);
    EXPECT_TRUE(ends(helper()));
}

TEST_F(AuthorizationTest, TheHelperKeepsToFilesAndEndsWhenNobodyAsks) {
    const auto made = directory.path() + "/made";
    answerWith("case $2 in *any-tool-helper) exit 126;; esac; exec \"$2\"");
    prctl(PR_SET_DUMPABLE, 1);
    copyRights();
    EXPECT_EQ(prctl(PR_GET_DUMPABLE), 0) << "another process of this user has the rights as well";
    const auto serving = helper();
    machine->makeTool("/bin/rm", "true"); // whose place anybody could take
    const struct {
        const char* tool;
        std::vector<std::string> arguments;
        bool runs;
    } cases[] = {{"/bin/mkdir", {"-p", made}, true},
                 {"/usr/sbin/chown", {"root:wheel", made}, true},
                 {"/bin/chmod", {"644", made}, true},
                 {"/bin/cp", {"-f", "-p", "-R", made, made + "2"}, true},
                 {"/bin/mv", {"-f", made, made + "3"}, true},
                 {"/bin/mv", {"-f", made, made, made}, false},
                 {"/bin/mkdir", {"-p", made + "/../x"}, false},
                 {"/bin/mkdir", {"-p", "/x"}, false},
                 {"/bin/mkdir", {"-p", "a/made"}, false},
                 {"/bin/mkdir", {"-p", made + "/"}, false},
                 {"/bin/mkdir", {made}, false},
                 {"/bin/chmod", {"4755", made}, false},
                 {"/usr/sbin/chown", {"nobody:wheel", made}, false},
                 {"/bin/rm", {"-Rdf", made}, false},
                 {"/bin/touch", {"-f", made, made}, false},
                 {"/bin/launchctl", {"list"}, false}};
    for (const auto& [tool, arguments, runs] : cases) {
        EXPECT_EQ(execute(tool, arguments),
                  runs ? errAuthorizationSuccess : errAuthorizationCanceled)
            << tool << " " << arguments.back();
    }
    const auto status = contentsOfFile("/proc/" + std::to_string(serving) + "/status").value_or("");
    EXPECT_NE(status.find("CapPrm:\t000000000000001f\nCapEff:\t000000000000001f\n"
                          "CapBnd:\t000000000000001f\n"),
              status.npos)
        << status;
    EXPECT_NE(status.find("NoNewPrivs:\t1\n"), status.npos) << status;

    // Its timer is moved on to the end.
    const FileDescriptor handle(static_cast<int>(syscall(SYS_pidfd_open, serving, 0)));
    FileDescriptor timer;
    for (int i = 0; i < 16 && !timer; ++i) {
        timer.reset(static_cast<int>(syscall(SYS_pidfd_getfd, handle.get(), i, 0)));
        itimerspec left{};
        if (timerfd_gettime(timer.get(), &left) != 0) {
            timer.reset();
        }
        EXPECT_LE(left.it_value.tv_sec, 300);
    }
    constexpr itimerspec now{{0, 0}, {0, 1}};
    EXPECT_EQ(timerfd_settime(timer.get(), 0, &now, nullptr), 0);
    EXPECT_TRUE(ends(serving));
    EXPECT_EQ(AuthorizationCopyRights(ref, {{kAuthorizationRightExecute, {}, 0}}, nullptr, 0),
              errAuthorizationDenied);
    EXPECT_EQ(copyRights(), errAuthorizationSuccess);
    EXPECT_NE(helper(), serving) << "asks again";
}

TEST_F(AuthorizationTest, TheHelperOutlivesWhatIsNoRequest) {
    int ends[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    const FileDescriptor socket(ends[0]);
    const auto process = machine->launch({.launchPath = TOOLS_DIRECTORY "/any-tool-helper",
                                          .standardOutput = FileDescriptor(ends[1]).get()});
    ASSERT_TRUE(receiveReady(socket.get()));
    const auto answer = [&] {
        const auto reply = receiveReply(socket.get());
        return reply ? reply->status : errAuthorizationInternal;
    };
    const auto folder = "/proc/" + std::to_string(process->processIdentifier()) + "/fd";
    const auto before = entries(folder);
    const auto good = *encode({false, "/bin/true", {}});
    const auto full = good + std::string(maximumRequest - good.size() - 1, 'a') + '\0';
    for (const auto& refused : {"1"s, "2-/bin/true\0"s, "1?/bin/true\0"s, "1-bin/true\0"s,
                                good + std::string(maximumArguments + 1, '\0'), full + 'a'}) {
        sendRequest(socket.get(), refused);
        EXPECT_EQ(answer(), errAuthorizationInvalidSet) << refused.substr(0, 12);
    }
    sendRequest(socket.get(), *encode({true, "/nowhere/tool", {"-f", "/a"}}));
    EXPECT_EQ(answer(), errAuthorizationToolExecuteFailure);
    // A descriptor that comes with a packet is not kept.
    sendReply(socket.get(), {0, FileDescriptor(dup(STDERR_FILENO))});
    EXPECT_EQ(answer(), errAuthorizationInvalidSet);
    EXPECT_EQ(entries(folder), before);
    sendRequest(socket.get(), good);
    EXPECT_EQ(answer(), errAuthorizationSuccess);
}
