#include "ApplicationServices/ProcessManager.h"

#include "support/TestMachine.h"

#include <csignal>

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
    const auto running = machine->launch({.launchPath = program, .arguments = {"1000"}});
    EXPECT_EQ(walk(), std::vector{program});
    ProcessSerialNumber process;
    EXPECT_FALSE(ProcessInformationCopyDictionary(&process, 0));
    EXPECT_EQ(GetNextProcess(&process), noErr);
    running->signal(SIGKILL);
    running->waitUntilExit();
    EXPECT_TRUE(ProcessInformationCopyDictionary(&process, 0)) << "a walk keeps what it began with";
    EXPECT_TRUE(walk().empty());
    EXPECT_FALSE(ProcessInformationCopyDictionary(&process, 0)) << "a walk over nothing";
    process.lowLongOfPSN = 7;
    EXPECT_EQ(GetNextProcess(&process), procNotFound);
    EXPECT_EQ(process.lowLongOfPSN, 7U);
}

} // namespace
