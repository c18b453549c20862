// The machine that tests install: a sandbox in a temporary folder, with everything about it in the
// test's hands.
#pragma once

#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "support/TemporaryDirectory.h"
#include "support/VirtualClock.h"
#include "System/Machine.h"
#include "System/RealClock.h"
#include "System/SandboxMachine.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>

class TestMachine : public SandboxMachine {
public:
    TestMachine(const std::string& root, std::shared_ptr<Clock> clock)
        : SandboxMachine(root), time(std::move(clock)) {
        for (const char* folder :
             {"/Library", "/Applications", "/Users/anna/Library/Preferences"}) {
            std::filesystem::create_directories(this->root() + folder);
        }
    }

    Clock& clock() override { return *time; }
    uid_t realUserID() const override { return userID; }
    std::string userName() const override { return user; }
    std::optional<std::string> consoleUser() const override { return consoleUserName; }
    AuthorizationMode authorizationMode() const override { return authorization; }
    std::string sessionBusAddress() const override { return busAddress; }
    /// Entries of `tools` come first; an empty one makes a tool missing.
    std::string programForTool(const std::string& path) const override {
        const auto entry = tools.find(path);
        return entry != tools.end() ? entry->second : SandboxMachine::programForTool(path);
    }
    /// Puts a shell script of ours in the place of a tool.
    void makeTool(const std::string& path, const std::string& script) const {
        const std::filesystem::path place = root() + path;
        std::filesystem::create_directories(place.parent_path());
        std::ofstream(place) << "#!/bin/sh\n" << script << "\n";
        std::filesystem::permissions(place, std::filesystem::perms::owner_all);
    }

    void console(std::string_view line) override {
        const std::lock_guard lock(mutex);
        lines.emplace_back(line);
    }
    std::vector<std::string> consoleLines() const {
        const std::lock_guard lock(mutex);
        return lines;
    }
    void clearConsole() {
        const std::lock_guard lock(mutex);
        lines.clear();
    }

    std::atomic<uid_t> userID{501};
    std::string user = "anna";
    std::optional<std::string> consoleUserName = "anna";
    std::atomic<AuthorizationMode> authorization{AuthorizationMode::grant};
    std::string busAddress;
    std::map<std::string, std::string> tools;

private:
    std::shared_ptr<Clock> time;
    mutable std::mutex mutex;
    std::vector<std::string> lines;
};

/// Installs a TestMachine for the test's duration. At the end no thread of ours may be left.
template <class ClockType>
class TestWithMachine : public testing::Test {
protected:
    TestWithMachine() { Machine::install(machine); }
    ~TestWithMachine() override {
        // Threads that sleep by a virtual clock end as soon as this thread sleeps by it too.
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (NSThread::running() > 0 && std::chrono::steady_clock::now() < end) {
            NSRunLoop::mainRunLoop().runUntil([] { return NSThread::running() == 0; },
                                              clock->now() + std::chrono::milliseconds(50));
        }
        EXPECT_EQ(NSThread::running(), 0U) << "a thread outlives its test";
        Machine::install(nullptr);
    }

    TemporaryDirectory directory;
    std::shared_ptr<ClockType> clock = std::make_shared<ClockType>();
    std::shared_ptr<TestMachine> machine = std::make_shared<TestMachine>(directory.path(), clock);
};

using MachineTest = TestWithMachine<VirtualClock>;
using RealTimeMachineTest = TestWithMachine<RealClock>;
