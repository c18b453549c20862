// The machine that tests install: a sandbox in a temporary folder, with everything about it in the
// test's hands.
#pragma once

#include "support/TemporaryDirectory.h"
#include "support/VirtualClock.h"
#include "System/RealClock.h"
#include "System/SandboxMachine.h"

#include <atomic>
#include <gtest/gtest.h>
#include <map>

class TestMachine : public SandboxMachine {
public:
    explicit TestMachine(const std::string& root, std::shared_ptr<Clock> clock);

    Clock& clock() override { return *time; }
    uid_t realUserID() const override { return userID; }
    std::string userName() const override { return user; }
    std::optional<std::string> consoleUser() const override { return consoleUserName; }
    AuthorizationMode authorizationMode() const override { return authorization; }
    std::string sessionBusAddress() const override { return busAddress; }
    /// Entries of `tools` come first; an empty one makes a tool missing.
    std::string programForTool(const std::string& path) const override;
    void console(std::string_view line) override;
    /// Puts a shell script of ours in the place of a tool.
    void makeTool(const std::string& path, const std::string& script) const;

    std::vector<std::string> consoleLines() const;
    void clearConsole();

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
    ~TestWithMachine() override;

    TemporaryDirectory directory;
    std::shared_ptr<ClockType> clock = std::make_shared<ClockType>();
    std::shared_ptr<TestMachine> machine = std::make_shared<TestMachine>(directory.path(), clock);
};

using MachineTest = TestWithMachine<VirtualClock>;
using RealTimeMachineTest = TestWithMachine<RealClock>;
