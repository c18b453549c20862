#include "support/TestMachine.h"

#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "System/Machine.h"
#include "System/SandboxMachine.h"

#include <filesystem>
#include <fstream>

TestMachine::TestMachine(const std::string& root, std::shared_ptr<Clock> clock)
    : SandboxMachine(root), time(std::move(clock)) {
    for (const char* folder : {"/Library", "/Applications", "/Users/anna/Library/Preferences"}) {
        std::filesystem::create_directories(this->root() + folder);
    }
}

std::string TestMachine::programForTool(const std::string& path) const {
    const auto entry = tools.find(path);
    return entry != tools.end() ? entry->second : SandboxMachine::programForTool(path);
}

void TestMachine::makeTool(const std::string& path, const std::string& script) const {
    const std::filesystem::path place = root() + path;
    std::filesystem::create_directories(place.parent_path());
    std::ofstream(place) << "#!/bin/sh\n" << script << "\n";
    std::filesystem::permissions(place, std::filesystem::perms::owner_all);
}

void TestMachine::console(std::string_view line) {
    std::lock_guard lock(mutex);
    lines.emplace_back(line);
}

std::vector<std::string> TestMachine::consoleLines() const {
    std::lock_guard lock(mutex);
    return lines;
}

void TestMachine::clearConsole() {
    std::lock_guard lock(mutex);
    lines.clear();
}

template <class ClockType>
TestWithMachine<ClockType>::~TestWithMachine() {
    // Threads that sleep by a virtual clock end as soon as this thread sleeps by it too.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (NSThread::running() > 0 && std::chrono::steady_clock::now() < end) {
        const auto now = clock->now();
        NSRunLoop::mainRunLoop().runUntil([] { return NSThread::running() == 0; },
                                          now + std::chrono::milliseconds(50));
    }
    EXPECT_EQ(NSThread::running(), 0U) << "a thread outlives its test";
    Machine::install(nullptr);
}

template class TestWithMachine<VirtualClock>;
template class TestWithMachine<RealClock>;
