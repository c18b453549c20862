// The whole program: a real window on a virtual screen, a real bus, the real client under each of
// the job managers, as an ordinary user and as the superuser.
#include "support/TemporaryDirectory.h"
#include "support/TestUser.h"
#include "System/FileReading.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

const std::string scripts = SOURCE_DIRECTORY "/scripts/";

std::string contentOf(const fs::path& path) { return contentsOfFile(path).value_or(""); }

/// Runs a shell's command line; its output, errors included, goes into a file.
int shell(const std::string& line, const std::string& output) {
    const int status = std::system(("exec >" + output + " 2>&1; " + line).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string inSession(const std::string& root, const std::string& command) {
    return scripts + "with-session --headless " + scripts + "with-login " BINARY_DIRECTORY " " +
           root + " " + command;
}

std::vector<std::string> processesThatMention(const std::string& folder) {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        std::error_code gone;
        const auto executable = fs::read_symlink(entry.path() / "exe", gone).string();
        const auto commandLine = contentOf(entry.path() / "cmdline");
        if (executable.starts_with(folder) || commandLine.find(folder) != std::string::npos) {
            found.push_back(entry.path().filename().string() + " " + executable);
        }
    }
    return found;
}

/// Told by the superuser with another client than the usual one, or by an ordinary user.
class StoryTest : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        if (bySuperuser) {
            return;
        }
        user = std::make_unique<TestUser>("story");
        if (!user->prepare("chown " + user->name() + " " + folder.path()) ||
            (withManager && !user->prepare("manager"))) {
            GTEST_SKIP() << "needs the superuser, and a user manager does not start everywhere";
        }
    }

    /// As the test's user with a new sandbox, with the user manager's or no runtime folder.
    bool run(const std::function<void()>& work) {
        const auto prepared = [&] {
            if (withManager) {
                setenv("XDG_RUNTIME_DIR", (user->home() + "/run").c_str(), 1);
            } else {
                unsetenv("XDG_RUNTIME_DIR");
            }
            const std::string client =
                bySuperuser ? "--client " SOURCE_DIRECTORY "/docs/Example.app " : "";
            ASSERT_EQ(
                shell(scripts + "make-sandbox " + client + BINARY_DIRECTORY " " + root, output), 0);
            work();
        };
        if (user) {
            return user->run(prepared);
        }
        prepared();
        return !HasFailure();
    }

    const bool bySuperuser = GetParam() == "Superuser";
    const bool withManager = GetParam() == "UserWithSystemd";
    TemporaryDirectory folder;
    const std::string root = folder.path() + "/disk";
    const std::string output = folder.path() + "/output";
    std::unique_ptr<TestUser> user;
};

} // namespace

TEST_P(StoryTest, TheSwitchBringsTheClientAndTakesItAway) {
    EXPECT_TRUE(run([&] {
        EXPECT_EQ(shell(inSession(root, scripts + "story " BINARY_DIRECTORY " " + root + " " +
                                            folder.path()),
                        output),
                  0);
    })) << contentOf(output);

    const std::string told = contentOf(output);
    std::size_t place = 0;
    for (const char* line : {"The pane is open:", "masterSwitch = 0", "The switch is turned on:",
                             "Status: Connected", "masterSwitch = 1", "client: process",
                             "The switch is turned off:", "Status: Not loaded"}) {
        place = told.find(line, place);
        ASSERT_NE(place, std::string::npos) << line << " is missing, or too early, in:\n" << told;
    }
    EXPECT_NE(contentOf(folder.path() + "/pane-on.png"),
              contentOf(folder.path() + "/pane-off.png"));
    EXPECT_TRUE(fs::is_empty(root + "/Library/LaunchAgents"));
    EXPECT_EQ(processesThatMention(folder.path()), std::vector<std::string>());
}

TEST_P(StoryTest, AWindowClosedWhileOnLeavesTheJobForTheNextLoginAndNothingElse) {
    const std::string first = folder.path() + "/first", second = folder.path() + "/second";
    std::ofstream(first)
        << "sleep 5\npress masterSwitch\nwait statusLabel \"Status: Connected\" 30\n";
    std::ofstream(second) << "wait statusLabel \"Status: Connected\" 30\nshow masterSwitch\n";
    const std::string host = BINARY_DIRECTORY "/bin/Preferences --root " + root + " --script ";
    EXPECT_TRUE(run([&] {
        EXPECT_EQ(shell(inSession(root, host + first), output), 0);
        EXPECT_EQ(processesThatMention(root + "/"), std::vector<std::string>());
        EXPECT_TRUE(fs::exists(root + "/Library/LaunchAgents/com.quorvane.Tolvin.plist"));
        EXPECT_EQ(shell(inSession(root, host + second), output), 0);
    })) << contentOf(output);
    EXPECT_NE(contentOf(output).find("masterSwitch = 1 (enabled)"), std::string::npos)
        << contentOf(output);
}

TEST(HearingTest, EveryControlSaysWhatItIsAndWhatBecomesOfIt) {
    const TemporaryDirectory folder;
    const std::string root = folder.path() + "/disk", output = folder.path() + "/output";
    ASSERT_EQ(shell(scripts + "make-sandbox " BINARY_DIRECTORY " " + root, output), 0);
    const std::string listen = SOURCE_DIRECTORY "/tests/program/listen.py " BINARY_DIRECTORY " ";
    EXPECT_EQ(shell(inSession(root, listen + root + " 2>" + root + "/errors"), output), 0);
    EXPECT_EQ(contentOf(output), contentOf(SOURCE_DIRECTORY "/tests/program/heard.txt"))
        << contentOf(root + "/errors");
}

using ClosingTest = StoryTest;

TEST_P(ClosingTest, AWindowClosedInTheMiddleOfAnythingEndsAndLeavesWholeFiles) {
    EXPECT_TRUE(run([&] {
        shell(inSession(root, SOURCE_DIRECTORY "/tests/program/close-windows.sh " BINARY_DIRECTORY
                                               " " +
                                  root),
              output);
    }));
    const std::string told = contentOf(output);
    EXPECT_TRUE(told.ends_with("All windows are closed.\n")) << told;
    EXPECT_EQ(told.find("wrong: "), std::string::npos) << told;
    EXPECT_EQ(processesThatMention(folder.path()), std::vector<std::string>());
}

const auto nameOf = [](const auto& test) { return test.param; };
INSTANTIATE_TEST_SUITE_P(Tellers, ClosingTest, testing::Values("UserWithTheSupervisor"), nameOf);
INSTANTIATE_TEST_SUITE_P(Tellers, StoryTest, testing::Values("Superuser", "UserWithSystemd"),
                         nameOf);
