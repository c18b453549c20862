#include "Foundation/NSPropertyList.h"
#include "support/RealTime.h"
#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"

#include <algorithm>
#include <csignal>
#include <gtest/gtest.h>
#include <sstream>

namespace {

/// The exit status of a shell's commands, then what they say on both outputs.
std::string shell(const std::string& commands) {
    FILE* pipe = popen(("PATH=" TOOLS_DIRECTORY ":$PATH; exec 2>&1; " + commands).c_str(), "re");
    std::string text;
    for (int byte = 0; (byte = std::getc(pipe)) != EOF;) {
        text += static_cast<char>(byte);
    }
    return std::to_string(WEXITSTATUS(pclose(pipe))) + ":" + text;
}

testing::AssertionResult says(const std::string& arguments, int status, const std::string& text) {
    const auto said = shell("launchctl " + arguments);
    return said.starts_with(std::to_string(status)) && said.find(text) != said.npos
               ? testing::AssertionSuccess()
               : testing::AssertionFailure() << arguments << " says " << said;
}
testing::AssertionResult works(const std::string& arguments) { return says(arguments, 0, ""); }

std::string listed() { return shell("launchctl list"); }
const std::string nothing = "0:PID\tStatus\tLabel\n";

void write(const std::string& path, const NSDictionary& changes) {
    NSDictionary job{{"Label", "com.example.job"}, {"Program", "/bin/true"}, {"RunAtLoad", true}};
    for (const auto& [key, value] : changes) {
        job.setObject(value, key);
    }
    EXPECT_TRUE(writeDictionaryToFile(job, path));
}

/// A loaded job in a folder of its own that says when it starts and that it is to end, and ends
/// when and how it is told to.
class TalkingJob {
public:
    explicit TalkingJob(const std::string& whenTerminated = "exit", int throttleInterval = 0) {
        // The right working folder is what makes the files' names good.
        write(path,
              {{"Program", "/bin/sh"},
               {"ProgramArguments", NSArray{"sh", "-c",
                                            "trap 'echo TERM >>said; " + whenTerminated +
                                                "' TERM; echo $$ $PPID $TESSALINE_ROOT >>said\n"
                                                "until [ -s told ]; do sleep 0.01; done\n"
                                                "read -r status <told; rm told; exit $status"}},
               {"WorkingDirectory", folder.path()},
               {"KeepAlive", NSDictionary{{"SuccessfulExit", false}}},
               {"ThrottleInterval", throttleInterval},
               {"ExitTimeOut", 1}});
        EXPECT_TRUE(works("load " + path));
    }
    ~TalkingJob() { shell("launchctl unload " + path); } // a test that failed half way did not

    void end(const std::string& how) const { std::ofstream(folder.path() + "/told") << how + "\n"; }
    /// What it says next. One that says nothing ends the test.
    std::string line() {
        std::string text;
        eventually([&] { return std::getline(said, text) || (said.clear(), false); });
        return text.empty() ? throw std::runtime_error("the job says nothing") : text;
    }
    pid_t process() { return std::stoi(line()); }
    bool isSilent() { return said.peek() == EOF; }

private:
    const TemporaryDirectory folder;
    std::fstream said{folder.path() + "/said", std::ios::in | std::ios::out | std::ios::trunc};

public:
    const std::string path = folder.path() + "/job.plist";
};

void livesFromLoadToUnload() {
    TalkingJob job;
    const auto first = job.process();
    EXPECT_TRUE(says("list com.example.job", 0, "PID = " + std::to_string(first) + "\n"));
    EXPECT_TRUE(says("load " + job.path, 1, "com.example.job: Already loaded"));
    setenv("TESSALINE_ROOT", "/tmp", 1); // another sandbox
    EXPECT_EQ(listed(), nothing);
    EXPECT_TRUE(works("load " + job.path));
    EXPECT_TRUE(job.line().ends_with(" /tmp"));
    EXPECT_TRUE(works("unload " + job.path));
    EXPECT_EQ(job.line(), "TERM");
    unsetenv("TESSALINE_ROOT");
    job.end("3");
    const auto second = job.process();
    EXPECT_NE(second, first);
    kill(second, SIGKILL);
    EXPECT_NE(job.process(), second);
    job.end("0");
    EXPECT_TRUE(eventually([] { return listed() == nothing + "-\t0\tcom.example.job\n"; }));
    EXPECT_TRUE(job.isSilent());
    EXPECT_TRUE(works("unload " + job.path));
    EXPECT_TRUE(says("remove com.example.job", 1, "com.example.job: Not loaded"));
    EXPECT_EQ(listed(), nothing);
}

void waitsBetweenStarts() {
    TalkingJob job("exit", 3600);
    job.line();
    job.end("3");
    EXPECT_TRUE(eventually([] { return listed() == nothing + "-\t3\tcom.example.job\n"; }));
    EXPECT_TRUE(works("remove com.example.job"));
    EXPECT_TRUE(job.isSilent());
}

void endsAJobWhoseUnloaderIsKilled() {
    TalkingJob job("true");
    const auto process = job.process();
    const auto unloader = shell("launchctl unload " + job.path + " >/dev/null 2>&1 & echo $!");
    EXPECT_EQ(job.line(), "TERM");
    kill(std::stoi(unloader.substr(2)), SIGKILL);
    // Loading again waits for the old one's end.
    EXPECT_TRUE(works("load " + job.path));
    EXPECT_NE(job.process(), process);
    EXPECT_TRUE(ends(process));
}

void refusesWhatDoesNotStart() {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    for (const auto* key : {"Program", "WorkingDirectory"}) {
        write(path, {{key, "/nowhere"}});
        EXPECT_TRUE(says("load " + path, 1, "Cannot start /"));
        EXPECT_TRUE(eventually([] { return listed() == nothing; }));
    }
    // One that nothing starts is loaded and waits; a label may hold any character.
    write(path, {{"Label", "a-b c/ü\\"}, {"RunAtLoad", false}});
    EXPECT_TRUE(works("load " + folder.path()));
    EXPECT_TRUE(says("list", 0, "-\t0\ta-b c/ü\\\n"));
    EXPECT_TRUE(works("unload " + folder.path()));
}

void takesManyAtOnce() {
    const TemporaryDirectory folder;
    constexpr int jobs = 10;
    for (int i = 0; i < jobs; ++i) {
        const auto label = "com.example." + std::to_string(i);
        write(folder.path() + "/" + label, {{"Label", label}});
    }
    const auto threeTimesEach = [&](const std::string& command) {
        return shell("cd " + folder.path() + "; for job in * * *; do launchctl " + command +
                     " $job >/dev/null 2>&1 && echo & done; wait");
    };
    const auto lines = [](const std::string& text) {
        return std::count(text.begin(), text.end(), '\n');
    };
    EXPECT_EQ(lines(threeTimesEach("load")), jobs) << "each is loaded by one of them";
    EXPECT_EQ(lines(listed()), jobs + 1);
    threeTimesEach("unload");
    EXPECT_EQ(listed(), nothing);
}

void behave() {
    for (const auto behaves :
         {livesFromLoadToUnload, waitsBetweenStarts, endsAJobWhoseUnloaderIsKilled,
          refusesWhatDoesNotStart, takesManyAtOnce}) {
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

TEST_F(LaunchctlTest, BehavesWithARealUserManager) {
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
    TalkingJob job;
    pid_t process = 0, supervisor = 0;
    std::istringstream(job.line()) >> process >> supervisor;
    ASSERT_GT(supervisor, 1);
    kill(supervisor, SIGKILL);
    EXPECT_TRUE(ends(process) && ends(supervisor));
    EXPECT_EQ(listed(), nothing);
    EXPECT_TRUE(works("load " + job.path));
}

TEST_F(LaunchctlTest, RefusesFilesThatOthersCouldHaveWrittenAndFilesThatAreNoJobs) {
    const TemporaryDirectory folder;
    const auto path = folder.path() + "/job.plist";
    const struct {
        std::string spoil; // what a shell does to the file
        NSDictionary changes;
        std::string message;
    } cases[] = {
        {"", {{"Label", 7}}, "\"Label\" must be a string"},
        {"", {{"Label", std::string(300, 'x')}}, "is too long"},
        {"", {{"ProgramArguments", "-v"}}, "\"ProgramArguments\" must be an array of strings"},
        {"", {{"KeepAlive", NSDictionary{{"NetworkState", true}}}}, "is not supported"},
        {"", {{"ExitTimeOut", 0}}, "\"ExitTimeOut\" must be a number of seconds"},
        {"", {{"Disabled", true}}, "the job is disabled"},
        {"chmod 664", {}, "Dubious ownership on file (skipping): " + path},
        {"chmod 646", {}, "Dubious ownership on file (skipping): " + path},
        {geteuid() == 0 ? "chown 12345" : "chmod 666", {}, "Dubious ownership on file"},
        {"truncate -s 100", {}, "holds no property list dictionary"},
        {"mkfifo -m 600 pipe; mv -f pipe", {}, "is no job file"},
        {"rm", {}, "Couldn't read " + path},
    };
    for (const auto& [spoil, changes, message] : cases) {
        std::filesystem::remove(path);
        write(path, changes);
        shell("cd " + folder.path() + "; " + spoil + " job.plist");
        EXPECT_TRUE(says("load " + path, 1, message));
    }
    // What is merely unknown is said and left out; one file in trouble does not stop the others.
    write(path, {{"Nice", 5}});
    std::ofstream(folder.path() + "/a.plist") << "";
    EXPECT_TRUE(says("load " + folder.path(), 1, "the key \"Nice\" is not supported"));
    EXPECT_TRUE(works("remove com.example.job"));
    EXPECT_TRUE(says("stop com.example.job", 1, "usage: launchctl load"));
}
