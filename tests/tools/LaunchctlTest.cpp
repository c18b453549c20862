#include "Foundation/NSPropertyList.h"
#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"

#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

/// launchctl in the current environment: its exit status, then what it says on both outputs.
std::string launchctl(const std::string& arguments) {
    FILE* pipe = popen((TOOLS_DIRECTORY "/launchctl " + arguments + " 2>&1").c_str(), "re");
    std::string text;
    for (int byte = 0; (byte = std::getc(pipe)) != EOF;) {
        text += static_cast<char>(byte);
    }
    return std::to_string(WEXITSTATUS(pclose(pipe))) + ":" + text;
}

testing::AssertionResult says(const std::string& arguments, int status, const std::string& text) {
    const auto said = launchctl(arguments);
    return said.starts_with(std::to_string(status)) && said.find(text) != said.npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << arguments << " says " << said;
}

const std::string nothing = "0:PID\tStatus\tLabel\n";

void write(const std::string& path, const NSDictionary& changes) {
    NSDictionary job{{"Label", "com.example.job"}, {"Program", "/bin/true"}, {"RunAtLoad", true}};
    for (const auto& [key, value] : changes) {
        job.setObject(value, key);
    }
    EXPECT_TRUE(writeDictionaryToFile(job, path));
}

/// A job in a folder of its own that says when it starts and that it is to end, and ends when and
/// how it is told to.
class TalkingJob {
public:
    explicit TalkingJob(const std::string& whenTerminated = "exit", int throttleInterval = 0) {
        mkfifo((folder.path() + "/said").c_str(), 0600);
        mkfifo((folder.path() + "/told").c_str(), 0600);
        hear = open((folder.path() + "/said").c_str(), O_RDWR | O_CLOEXEC);
        tell = open((folder.path() + "/told").c_str(), O_RDWR | O_CLOEXEC);
        // The right working folder is what makes the pipes' names good.
        write(path, {{"Program", "/bin/sh"},
                     {"ProgramArguments",
                      NSArray{"sh", "-c",
                              "trap 'echo TERM >said; " + whenTerminated +
                                  "' TERM; echo $$ $TESSALINE_ROOT >said\n"
                                  "until read -r status <told; do :; done; exit $status"}},
                     {"WorkingDirectory", folder.path()},
                     {"KeepAlive", NSDictionary{{"SuccessfulExit", false}}},
                     {"ThrottleInterval", throttleInterval},
                     {"ExitTimeOut", 1}});
    }
    ~TalkingJob() {
        launchctl("unload " + path); // a test that failed half way did not
        close(hear);
        close(tell);
    }
    TalkingJob(const TalkingJob&) = delete;
    TalkingJob& operator=(const TalkingJob&) = delete;

    void end(const std::string& how) const { EXPECT_GT(::write(tell, (how + "\n").data(), 2), 0); }
    bool isSilent() const { return !speaksWithin(0); }
    /// Its next line; a job that says nothing within half a minute ends the test.
    std::string line() const {
        std::string text;
        for (char byte = 0; speaksWithin(30'000) && read(hear, &byte, 1) == 1 && byte != '\n';) {
            text += byte;
        }
        return text.empty() ? throw std::runtime_error("the job says nothing") : text;
    }
    pid_t process() const { return std::atoi(line().c_str()); }

private:
    bool speaksWithin(int milliseconds) const {
        pollfd entry{.fd = hear, .events = POLLIN, .revents = 0};
        return poll(&entry, 1, milliseconds) == 1;
    }
    TemporaryDirectory folder;
    int hear = -1, tell = -1;

public:
    const std::string path = folder.path() + "/job.plist";
};

std::string listed() { return launchctl("list com.example.job"); }

void waitUntil(const std::function<bool()>& holds) {
    for (int i = 0; i < 500 && !holds(); ++i) {
        usleep(10'000);
    }
    EXPECT_TRUE(holds());
}

/// The process's state and parent, which are none and 0 once it is gone.
std::pair<char, pid_t> stateOf(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string number, name;
    char state = 'Z';
    pid_t parent = 0;
    status >> number >> name >> state >> parent;
    return {state, parent};
}
bool isGone(pid_t process) { return stateOf(process).first == 'Z'; }

void livesFromLoadToUnload() {
    const TalkingJob job;
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    const auto first = job.process();
    EXPECT_TRUE(listed().starts_with("0:PID = " + std::to_string(first))) << listed();
    EXPECT_TRUE(says("load " + job.path, 1, "com.example.job: Already loaded"));

    job.end("3");
    const auto second = job.process();
    EXPECT_NE(second, first);
    kill(second, SIGKILL);
    EXPECT_NE(job.process(), second);
    job.end("0");
    waitUntil([] { return listed().starts_with("0:PID = -"); });
    EXPECT_TRUE(says("list", 0, "-\t0\tcom.example.job\n"));
    EXPECT_TRUE(job.isSilent());

    EXPECT_TRUE(says("unload " + job.path, 0, ""));
    EXPECT_TRUE(says("remove com.example.job", 1, "com.example.job: Not loaded"));
    EXPECT_EQ(launchctl("list"), nothing);
}

void waitsBetweenStarts() {
    const TalkingJob job("exit", 3600);
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    job.line();
    job.end("3");
    waitUntil([] { return listed().starts_with("0:PID = -\nLastExitStatus = 3"); });
    EXPECT_TRUE(says("remove com.example.job", 0, ""));
    EXPECT_TRUE(job.isSilent());
}

void endsAJobWhoseUnloaderIsKilled() {
    const TalkingJob job("true");
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    const auto process = job.process();
    const pid_t unloader = fork();
    if (unloader == 0) {
        execl(TOOLS_DIRECTORY "/launchctl", "launchctl", "unload", job.path.c_str(), nullptr);
    }
    EXPECT_EQ(job.line(), "TERM");
    kill(unloader, SIGKILL);
    waitpid(unloader, nullptr, 0);
    // Loading again waits for the old one's end.
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    EXPECT_TRUE(isGone(process));
    EXPECT_NE(job.process(), process);
    EXPECT_TRUE(says("unload " + job.path, 0, ""));
}

void keepsSandboxesApart() {
    const TalkingJob job;
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    job.line();
    setenv("TESSALINE_ROOT", "/tmp", 1);
    EXPECT_EQ(launchctl("list"), nothing);
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    EXPECT_TRUE(job.line().ends_with(" /tmp"));
    EXPECT_TRUE(says("unload " + job.path, 0, ""));
    EXPECT_EQ(job.line(), "TERM");
    unsetenv("TESSALINE_ROOT");
    EXPECT_TRUE(says("list", 0, "\tcom.example.job\n"));
    EXPECT_TRUE(says("unload " + job.path, 0, ""));
}

void refusesWhatDoesNotStart() {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    for (const auto* key : {"Program", "WorkingDirectory"}) {
        write(path, {{key, "/nowhere"}});
        EXPECT_TRUE(says("load " + path, 1, "Cannot start /"));
        waitUntil([] { return launchctl("list") == nothing; });
    }
    // One that nothing starts is loaded and waits; a label may hold any character.
    write(path, {{"Label", "a-b c/ü\\"}, {"RunAtLoad", false}});
    EXPECT_TRUE(says("load " + folder.path(), 0, ""));
    EXPECT_TRUE(says("list", 0, "-\t0\ta-b c/ü\\\n"));
    EXPECT_TRUE(says("unload " + folder.path(), 0, ""));
}

void behave() {
    for (const auto behaves :
         {livesFromLoadToUnload, waitsBetweenStarts, endsAJobWhoseUnloaderIsKilled,
          keepsSandboxesApart, refusesWhatDoesNotStart}) {
        behaves();
    }
}

class LaunchctlTest : public testing::Test {
protected:
    LaunchctlTest() {
        setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "supervisor", 1);
    }
    ~LaunchctlTest() override {
        unsetenv("XDG_RUNTIME_DIR");
        unsetenv("TESSALINE_LAUNCHD_ENGINE");
    }
    TemporaryDirectory runtime;
};

} // namespace

TEST_F(LaunchctlTest, BehavesWithASupervisor) { behave(); }

TEST(LaunchctlSystemdTest, BehavesWithARealUserManager) {
    const TestUser user("launchd");
    if (!user.prepare("manager")) {
        GTEST_SKIP() << "needs the superuser, and systemd's user manager does not start everywhere";
    }
    EXPECT_TRUE(user.run([&] {
        setenv("XDG_RUNTIME_DIR", (user.home() + "/run").c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "systemd", 1);
        behave();
    }));
}

TEST_F(LaunchctlTest, AKilledSupervisorTakesItsJobAlongAndLeavesNoJobBehind) {
    const TalkingJob job;
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    const auto process = job.process();
    const auto supervisor = stateOf(process).second;
    ASSERT_GT(supervisor, 1);
    kill(supervisor, SIGKILL);
    waitUntil([&] { return isGone(process) && isGone(supervisor); });
    EXPECT_EQ(launchctl("list"), nothing);
    EXPECT_TRUE(says("load " + job.path, 0, ""));
    EXPECT_NE(job.process(), process);
    EXPECT_TRUE(says("unload " + job.path, 0, ""));
}

TEST_F(LaunchctlTest, AUserManagerThatHangsIsPassedOver) {
    std::filesystem::create_directory(runtime.path() + "/systemd");
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (runtime.path() + "/systemd/private").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    unsetenv("TESSALINE_LAUNCHD_ENGINE");
    EXPECT_EQ(launchctl("list"), nothing);
    close(listener);
    setenv("TESSALINE_LAUNCHD_ENGINE", "systemd", 1);
    EXPECT_TRUE(says("list", 1, "No systemd user manager answers"));
}

TEST_F(LaunchctlTest, RefusesFilesThatOthersCouldHaveWrittenAndFilesThatAreNoJobs) {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    const auto refuses = [&](const std::string& message) {
        return says("load " + path, 1, message);
    };
    const auto dubious = "Dubious ownership on file (skipping): " + path;
    write(path, {});
    for (const mode_t mode : {0664, 0646}) {
        chmod(path.c_str(), mode);
        EXPECT_TRUE(refuses(dubious));
    }
    chmod(path.c_str(), 0644);
    if (chown(path.c_str(), 12345, gid_t(-1)) == 0) {
        EXPECT_TRUE(refuses(dubious));
        ASSERT_EQ(chown(path.c_str(), 0, gid_t(-1)), 0);
    }
    const std::pair<NSDictionary, std::string> cases[] = {
        {{{"Label", 7}}, "\"Label\" must be a string"},
        {{{"Label", std::string(300, 'x')}}, "is too long"},
        {{{"ProgramArguments", "-v"}}, "\"ProgramArguments\" must be an array of strings"},
        {{{"KeepAlive", NSDictionary{{"NetworkState", true}}}}, "is not supported"},
        {{{"ExitTimeOut", 0}}, "\"ExitTimeOut\" must be a number of seconds"},
        {{{"Disabled", true}}, "the job is disabled"},
    };
    for (const auto& [changes, message] : cases) {
        write(path, changes);
        EXPECT_TRUE(refuses(message));
    }
    std::ofstream(path, std::ios::trunc) << "<plist><dict><key>Label";
    EXPECT_TRUE(refuses("holds no property list dictionary"));
    std::filesystem::remove(path);
    EXPECT_TRUE(refuses("Couldn't read " + path));
    mkfifo(path.c_str(), 0600);
    EXPECT_TRUE(refuses("is no job file"));
    std::filesystem::remove(path);

    // What is merely unknown is said and left out; one file in trouble does not stop the others.
    write(path, {{"Nice", 5}});
    std::ofstream(folder.path() + "/a.plist") << "";
    EXPECT_TRUE(says("load " + folder.path(), 1, "the key \"Nice\" is not supported"));
    EXPECT_TRUE(says("remove com.example.job", 0, ""));
    EXPECT_TRUE(says("stop com.example.job", 1, "usage: launchctl load"));
}
