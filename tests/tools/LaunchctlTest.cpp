#include "Foundation/NSPropertyList.h"
#include "support/TemporaryDirectory.h"
#include "support/UserManager.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <future>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

struct Answer {
    int status = -1;
    std::string text;
};

/// launchctl in the current environment, with what it says on both outputs.
Answer launchctl(const std::string& arguments) {
    Answer answer;
    FILE* pipe = popen((TOOLS_DIRECTORY "/launchctl " + arguments + " 2>&1").c_str(), "re");
    std::array<char, 512> buffer{};
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) {
        answer.text += buffer.data();
    }
    const int status = pclose(pipe);
    answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return answer;
}

testing::AssertionResult said(const Answer& answer, int status, const std::string& text) {
    return answer.status == status && answer.text.find(text) != std::string::npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << answer.status << ": " << answer.text;
}

const std::string nothingListed = "PID\tStatus\tLabel\n";

NSDictionary jobWith(const NSDictionary& changes) {
    NSDictionary job{{"Label", "com.example.job"}, {"Program", "/bin/true"}, {"RunAtLoad", true}};
    for (const auto& [key, value] : changes) {
        job.setObject(value, key);
    }
    return job;
}

/// A job in a folder of its own that says when it starts and that it is to end, and ends when and
/// how it is told to.
class TalkingJob {
public:
    explicit TalkingJob(const NSDictionary& changes = {}) {
        mkfifo((folder.path() + "/said").c_str(), 0600);
        mkfifo((folder.path() + "/told").c_str(), 0600);
        hear = open((folder.path() + "/said").c_str(), O_RDWR | O_CLOEXEC);
        tell = open((folder.path() + "/told").c_str(), O_RDWR | O_CLOEXEC);
        // The right working folder is what makes the pipes' names good.
        auto job = jobWith({{"ProgramArguments",
                             NSArray{"/bin/sh", "-c",
                                     "trap 'echo TERM >said' TERM; echo $$ $TESSALINE_ROOT >said\n"
                                     "until read -r status <told; do :; done; exit $status"}},
                            {"WorkingDirectory", folder.path()},
                            {"KeepAlive", NSDictionary{{"SuccessfulExit", false}}},
                            {"ThrottleInterval", 0},
                            {"ExitTimeOut", 1}});
        job.removeObjectForKey("Program");
        for (const auto& [key, value] : changes) {
            job.setObject(value, key);
        }
        EXPECT_TRUE(writeDictionaryToFile(job, path()));
    }
    ~TalkingJob() {
        close(hear);
        close(tell);
    }
    TalkingJob(const TalkingJob&) = delete;
    TalkingJob& operator=(const TalkingJob&) = delete;

    std::string path() const { return folder.path() + "/job.plist"; }
    void end(const std::string& how) const {
        EXPECT_GT(write(tell, (how + "\n").data(), how.size() + 1), 0);
    }
    bool isSilent() const {
        pollfd entry{.fd = hear, .events = POLLIN, .revents = 0};
        return poll(&entry, 1, 0) == 0;
    }
    /// Its next line; nothing within half a minute fails the test.
    std::string line() const {
        std::string text;
        pollfd entry{.fd = hear, .events = POLLIN, .revents = 0};
        for (char byte = 0; poll(&entry, 1, 30'000) == 1 && read(hear, &byte, 1) == 1;) {
            if (byte == '\n') {
                return text;
            }
            text += byte;
        }
        ADD_FAILURE() << "the job says nothing";
        return text;
    }
    pid_t process() const { return std::atoi(line().c_str()); }

private:
    TemporaryDirectory folder;
    int hear = -1, tell = -1;
};

std::string listed() { return launchctl("list com.example.job").text; }

void waitUntil(const std::function<bool()>& holds) {
    for (int i = 0; i < 500 && !holds(); ++i) {
        usleep(10'000);
    }
    EXPECT_TRUE(holds());
}

bool isGone(pid_t process) {
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string number, name, state;
    return !(status >> number >> name >> state) || state == "Z";
}

void livesFromLoadToUnload() {
    const TalkingJob job;
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    const auto first = job.process();
    EXPECT_TRUE(listed().starts_with("PID = " + std::to_string(first))) << listed();
    EXPECT_TRUE(said(launchctl("load " + job.path()), 1, "com.example.job: Already loaded"));

    job.end("3");
    const auto second = job.process();
    EXPECT_NE(second, first);
    kill(second, SIGKILL);
    EXPECT_NE(job.process(), second);
    job.end("0");
    waitUntil([] { return listed().starts_with("PID = -"); });
    EXPECT_TRUE(said(launchctl("list"), 0, "-\t0\tcom.example.job\n"));
    EXPECT_TRUE(job.isSilent());

    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
    EXPECT_TRUE(said(launchctl("remove com.example.job"), 1, "com.example.job: Not loaded"));
    EXPECT_EQ(launchctl("list").text, nothingListed);

    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    const auto third = job.process();
    EXPECT_TRUE(said(launchctl("remove com.example.job"), 0, ""));
    EXPECT_EQ(job.line(), "TERM");
    EXPECT_TRUE(isGone(third));
}

void waitsBetweenStarts() {
    const TalkingJob job({{"ThrottleInterval", 3600}});
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    job.line();
    job.end("3");
    waitUntil([] { return listed().starts_with("PID = -\nLastExitStatus = 3"); });
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
    EXPECT_TRUE(job.isSilent());
}

void endsAJobWhoseUnloaderIsKilled() {
    const TalkingJob job;
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    const auto process = job.process();
    const pid_t unloader = fork();
    if (unloader == 0) {
        execl(TOOLS_DIRECTORY "/launchctl", "launchctl", "unload", job.path().c_str(), nullptr);
    }
    EXPECT_EQ(job.line(), "TERM");
    kill(unloader, SIGKILL);
    waitpid(unloader, nullptr, 0);
    // Loading again waits for the old one's end.
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    EXPECT_TRUE(isGone(process));
    EXPECT_NE(job.process(), process);
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
}

void keepsSandboxesApart() {
    const TalkingJob job;
    const TemporaryDirectory root;
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    job.line();
    setenv("TESSALINE_ROOT", root.path().c_str(), 1);
    EXPECT_EQ(launchctl("list").text, nothingListed);
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    EXPECT_TRUE(job.line().ends_with(" " + root.path()));
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
    EXPECT_EQ(job.line(), "TERM");
    unsetenv("TESSALINE_ROOT");
    EXPECT_TRUE(said(launchctl("list"), 0, "\tcom.example.job\n"));
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
}

void refusesWhatDoesNotStart() {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    for (const auto& changes : {NSDictionary{{"Program", "/nowhere/program"}},
                                NSDictionary{{"WorkingDirectory", "/nowhere"}}}) {
        EXPECT_TRUE(writeDictionaryToFile(jobWith(changes), path));
        EXPECT_TRUE(said(launchctl("load " + path), 1, "Cannot start /"));
        waitUntil([] { return launchctl("list").text == nothingListed; });
    }
    // One that nothing starts is loaded and waits; a label may hold any character.
    EXPECT_TRUE(
        writeDictionaryToFile(jobWith({{"Label", "a-b c/ü\\"}, {"RunAtLoad", false}}), path));
    EXPECT_TRUE(said(launchctl("load " + folder.path()), 0, ""));
    EXPECT_TRUE(said(launchctl("list"), 0, "-\t0\ta-b c/ü\\\n"));
    EXPECT_TRUE(said(launchctl("unload " + folder.path()), 0, ""));
}

void (*const behaviours[])() = {livesFromLoadToUnload, waitsBetweenStarts,
                                endsAJobWhoseUnloaderIsKilled, keepsSandboxesApart,
                                refusesWhatDoesNotStart};

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

TEST_F(LaunchctlTest, BehavesWithASupervisor) {
    for (const auto behaves : behaviours) {
        behaves();
    }
}

TEST(LaunchctlSystemdTest, BehavesWithARealUserManager) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs the superuser, to start a user's systemd manager";
    }
    const TestUser user("launchd");
    const UserManager manager(user);
    if (!manager.isRunning()) {
        GTEST_SKIP() << "systemd's user manager does not start here";
    }
    EXPECT_TRUE(user.run([&] {
        setenv("XDG_RUNTIME_DIR", manager.runtimeDirectory().c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "systemd", 1);
        for (const auto behaves : behaviours) {
            behaves();
        }
    }));
}

TEST_F(LaunchctlTest, AKilledSupervisorTakesItsJobAlongAndLeavesNoJobBehind) {
    const TalkingJob job;
    ASSERT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    const auto process = job.process();
    std::ifstream status("/proc/" + std::to_string(process) + "/stat");
    std::string number, name, state;
    pid_t supervisor = 0;
    ASSERT_TRUE(status >> number >> name >> state >> supervisor);
    kill(supervisor, SIGKILL);
    waitUntil([&] { return isGone(process) && isGone(supervisor); });
    EXPECT_EQ(launchctl("list").text, nothingListed);
    EXPECT_TRUE(said(launchctl("load " + job.path()), 0, ""));
    EXPECT_NE(job.process(), process);
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
}

TEST_F(LaunchctlTest, OfManyLoadsAtOnceOneSucceeds) {
    const TalkingJob job;
    std::vector<std::future<Answer>> loads(8);
    for (auto& load : loads) {
        load = std::async(std::launch::async, launchctl, "load " + job.path());
    }
    int succeeded = 0;
    for (auto& load : loads) {
        succeeded += load.get().status == 0 ? 1 : 0;
    }
    EXPECT_EQ(succeeded, 1);
    job.line();
    EXPECT_TRUE(job.isSilent());
    EXPECT_TRUE(said(launchctl("unload " + job.path()), 0, ""));
}

TEST_F(LaunchctlTest, AUserManagerThatHangsIsPassedOver) {
    std::filesystem::create_directory(runtime.path() + "/systemd");
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    (runtime.path() + "/systemd/private").copy(address.sun_path, sizeof address.sun_path - 1);
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    unsetenv("TESSALINE_LAUNCHD_ENGINE");
    EXPECT_TRUE(said(launchctl("list"), 0, nothingListed));
    close(listener);
    setenv("TESSALINE_LAUNCHD_ENGINE", "systemd", 1);
    EXPECT_TRUE(said(launchctl("list"), 1, "No systemd user manager answers"));
}

TEST_F(LaunchctlTest, RefusesFilesThatOthersCouldHaveWrittenAndFilesThatAreNoJobs) {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    const auto dubious = "Dubious ownership on file (skipping): " + path;
    const auto load = [&](mode_t mode) {
        chmod(path.c_str(), mode);
        return launchctl("load " + path);
    };
    ASSERT_TRUE(writeDictionaryToFile(jobWith({}), path));
    EXPECT_TRUE(said(load(0664), 1, dubious));
    EXPECT_TRUE(said(load(0646), 1, dubious));
    if (geteuid() == 0) {
        ASSERT_EQ(chown(path.c_str(), 12345, gid_t(-1)), 0);
        EXPECT_TRUE(said(load(0644), 1, dubious));
        ASSERT_EQ(chown(path.c_str(), 0, gid_t(-1)), 0);
    }
    const std::vector<std::pair<NSDictionary, std::string>> cases = {
        {{{"Label", ""}}, "\"Label\" is missing"},
        {{{"Label", 7}}, "\"Label\" must be a string"},
        {{{"Label", std::string(300, 'x')}}, "is too long"},
        {{{"Program", "true"}}, "\"Program\" must be an absolute path"},
        {{{"ProgramArguments", "-v"}}, "\"ProgramArguments\" must be an array of strings"},
        {{{"WorkingDirectory", "here"}}, "\"WorkingDirectory\" must be an absolute path"},
        {{{"RunAtLoad", "yes"}}, "\"RunAtLoad\" must be true or false"},
        {{{"KeepAlive", NSDictionary{{"NetworkState", true}}}}, "is not supported"},
        {{{"ExitTimeOut", 0}}, "\"ExitTimeOut\" must be a number of seconds"},
        {{{"Disabled", true}}, "the job is disabled"},
    };
    for (const auto& [changes, message] : cases) {
        ASSERT_TRUE(writeDictionaryToFile(jobWith(changes), path));
        EXPECT_TRUE(said(load(0644), 1, message));
    }
    std::ofstream(path, std::ios::trunc) << "<plist><dict><key>Label";
    EXPECT_TRUE(said(load(0644), 1, "holds no property list dictionary"));
    std::filesystem::remove(path);
    EXPECT_TRUE(said(load(0644), 1, "Couldn't read " + path));
    mkfifo(path.c_str(), 0600);
    EXPECT_TRUE(said(load(0600), 1, "is no job file"));
    std::filesystem::remove(path);

    // What is merely unknown is said and left out; one file in trouble does not stop the others.
    ASSERT_TRUE(writeDictionaryToFile(jobWith({{"Nice", 5}}), path));
    std::ofstream(folder.path() + "/a.plist") << "";
    EXPECT_TRUE(said(launchctl("load " + folder.path()), 1, "the key \"Nice\" is not supported"));
    EXPECT_TRUE(said(launchctl("remove com.example.job"), 0, ""));
    EXPECT_TRUE(said(launchctl("stop com.example.job"), 1, "usage: launchctl load"));
}
