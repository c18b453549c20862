// A login to live through: a client that answers, dawdles, crashes or keeps silent, a job manager
// that is quick or hangs, a dialog that is granted or refused late, and a user who takes his time.
// All of it is drawn from one seed and happens in virtual time.
#pragma once

#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSThread.h"
#include "pane/SimulatedMachine.h"
#include "pane/Tolvin.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <random>

class SimulatedLogin {
public:
    SimulatedLogin(SimulatedMachine& machine, unsigned seed) : machine(machine), random(seed) {}

    /// Lays out files and tools as the seed says. Before the pane is loaded.
    void prepare() {
        const auto agents = machine.root() + "/Library/LaunchAgents";
        if (chance(0.1)) {
            std::ofstream{agents} << "in the way"; // no job file can be written here
        } else if (chance(0.4)) {
            std::filesystem::create_directories(agents);
            std::ofstream{machine.jobFile()} << "{ Label = x; }";
            jobLoaded = true;
            startClient(byJob);
        }
        if (chance(0.1)) {
            machine.installClient(std::nullopt);
        }
        writeDictionaryToFile({{"lastRunVersion", chance(0.7) ? "1.0" : "0.9"}},
                              machine.preferences(Tolvin::settingsFile));
        machine.setTool("launchctl",
                        [this](const auto& arguments) { return launchctl(arguments); });
        machine.setTool("killall", [this](auto&) {
            after(0, [this] {
                endClient(byJob, true);
                endClient(byPane, true);
            });
            return ToolResult{.seconds = upTo(0.2)};
        });
        machine.setTool("Tolvin", [this](auto&) {
            after(0, [this] { startClient(byPane); });
            return ToolResult{.seconds = 1000};
        });
        for (const auto& name : {Tolvin::currentStatus, Tolvin::disconnect, Tolvin::relaunch}) {
            NSDistributedNotificationCenter::defaultCenter().addObserver(
                client, name, [this, name](const NSNotification&) { hear(name); });
        }
    }
    /// From here on nobody does anything on a whim: what runs, answers.
    void calmDown() { calm = true; }
    /// Nothing happens any more.
    void end() { over = true; }

    /// Has an event happen on the main thread so many seconds from now. Any thread.
    void after(double seconds, std::function<void()> event) {
        ++threads;
        NSThread::detachNewThread([this, seconds, event = std::move(event)] {
            NSThread::sleepForTimeInterval(seconds);
            performOnMainThread([&] { over ? void() : event(); }, true);
            --threads;
        });
    }
    /// The threads on which events wait.
    std::atomic<std::size_t> threads{0};
    int clients() const { return runs[byJob] + runs[byPane]; }

    double upTo(double seconds) {
        std::lock_guard lock(mutex);
        return std::uniform_real_distribution<>(0, seconds)(random);
    }
    int below(int limit) { return static_cast<int>(upTo(limit)); }
    bool chance(double probability) { return upTo(1) < probability; }

private:
    enum Starter { byJob, byPane };

    void startClient(Starter starter) {
        runs[starter] = machine.clientRuns = true;
        say("Connected", upTo(2));
        if (!calm && chance(0.3)) {
            after(upTo(30), [this, starter] { endClient(starter, true); });
        }
    }
    void endClient(Starter starter, bool crashed) {
        const bool ran = std::exchange(runs[starter], false);
        machine.clientRuns = clients() > 0;
        if (ran && starter == byJob && crashed && jobLoaded) {
            startJobAfter(10);
        }
    }
    void startJobAfter(double seconds) {
        jobWillStart = true;
        after(seconds, [this, loaded = ++loads] {
            if (loads == loaded) {
                jobWillStart = false;
                startClient(byJob);
            }
        });
    }
    ToolResult launchctl(const std::vector<std::string>& arguments) {
        if (arguments[0] == "list") {
            return {.output = !jobLoaded                    ? "Not loaded"
                              : jobWillStart || runs[byJob] ? "PID = 7\n"
                                                            : "PID = -\nLastExitStatus = 0\n"};
        }
        if (arguments[0] != "load") {
            jobLoaded = jobWillStart = false;
            ++loads;
            after(0, [this] { endClient(byJob, false); });
        } else if (std::filesystem::exists(arguments[1])) {
            jobLoaded = true;
            startJobAfter(upTo(chance(0.8) ? 1 : 25));
        }
        return {.seconds = chance(0.1) ? upTo(15) : upTo(0.3), .status = below(2)};
    }

    void say(const std::string& status, double afterSeconds) {
        after(afterSeconds, [this, status] {
            if (machine.clientRuns && (calm || !silent)) {
                NSDistributedNotificationCenter::defaultCenter().postNotification(
                    {.name = Tolvin::statusUpdate, .userInfo = NSDictionary{{"status", status}}});
            }
        });
    }
    void hear(const std::string& name) {
        if (name == Tolvin::disconnect) {
            say("Disconnected", upTo(1));
        } else if (name == Tolvin::relaunch) {
            say("Relaunching...", 0.1);
            say("Connected", 0.1 + upTo(3));
        } else if (!calm && chance(0.2)) {
            say(chance(0.5) ? "Disconnected" : "Busy: 3 %@ %d", upTo(12));
        } else {
            say("Connected", calm ? 0.1 : upTo(chance(0.9) ? 1 : 14));
        }
    }

    SimulatedMachine& machine;
    std::mutex mutex; // guards the random numbers, which every thread draws
    std::mt19937 random;
    const bool silent = chance(0.2);
    std::shared_ptr<int> client = std::make_shared<int>();
    std::array<bool, 2> runs{}; // a client of each starter; on the main thread
    std::atomic<bool> jobLoaded = false, jobWillStart = false, calm = false, over = false;
    std::atomic<int> loads = 0; // of the client's job
};
