#include "ApplicationServices/ProcessManager.h"
#include "SystemConfiguration/SCDynamicStore.h"

#include "support/TestMachine.h"

#include <algorithm>
#include <csignal>
#include <spawn.h>
#include <sys/wait.h>

namespace {

std::vector<std::string> walk() {
    std::vector<std::string> paths;
    for (ProcessSerialNumber process; GetNextProcess(&process) == noErr;) {
        const auto information = ProcessInformationCopyDictionary(&process, 0xFFFFFFFF);
        paths.push_back(*information.value().objectForKey("CFBundleExecutable")->string());
    }
    return paths;
}

TEST_F(MachineTest, TheProcessManagerListsWhatRuns) {
    EXPECT_TRUE(walk().empty());
    const std::string program = machine->root() + "/Tolvin";
    std::filesystem::copy_file("/bin/sleep", program);
    std::array<pid_t, 2> children{};
    std::string seconds = "1000";
    std::array<char*, 3> arguments{const_cast<char*>("x"), seconds.data(), nullptr};
    for (pid_t& child : children) {
        ASSERT_EQ(posix_spawn(&child, program.c_str(), nullptr, nullptr, arguments.data(), environ),
                  0);
    }
    EXPECT_EQ(walk(), (std::vector<std::string>{program, program}));
    ProcessSerialNumber process;
    EXPECT_FALSE(ProcessInformationCopyDictionary(&process, 0));
    EXPECT_EQ(GetNextProcess(&process), noErr);
    for (const pid_t child : children) {
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    EXPECT_TRUE(ProcessInformationCopyDictionary(&process, 0)) << "a walk keeps what it began with";
    EXPECT_TRUE(walk().empty());
    EXPECT_FALSE(ProcessInformationCopyDictionary(&process, 0)) << "a walk over nothing";
    process.lowLongOfPSN = 7;
    EXPECT_EQ(GetNextProcess(&process), procNotFound);
    EXPECT_EQ(process.lowLongOfPSN, 7U);
}

TEST_F(MachineTest, TheConsoleUserIsTheMachines) {
    EXPECT_EQ(SCDynamicStoreCopyConsoleUser(), "anna");
    machine->consoleUserName = "loginwindow";
    EXPECT_EQ(SCDynamicStoreCopyConsoleUser(), "loginwindow");
}

} // namespace
