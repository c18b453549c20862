#include "pane/SimulatedLogin.h"

#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSThread.h"
#include "pane/Tolvin.h"

#include <filesystem>
#include <fstream>

SimulatedLogin::SimulatedLogin(SimulatedMachine& machine, unsigned seed)
    : machine(machine), random(seed) {}

void SimulatedLogin::after(double seconds, std::function<void()> event) {
    ++threads;
    NSThread::detachNewThread([this, seconds, event = std::move(event)] {
        NSThread::sleepForTimeInterval(seconds);
        performOnMainThread([&] { over ? void() : event(); }, true);
        --threads;
    });
}

bool SimulatedLogin::chance(double probability) { return upTo(1) < probability; }

double SimulatedLogin::upTo(double seconds) {
    std::lock_guard lock(mutex);
    return std::uniform_real_distribution<>(0, seconds)(random);
}

void SimulatedLogin::prepare() {
    if (!chance(0.9)) {
        machine.installClient(std::nullopt);
    }
    const auto agents = machine.root() + "/Library/LaunchAgents";
    if (chance(0.1)) {
        std::ofstream{agents} << "in the way"; // no job file can be written here
    } else if (chance(0.4)) {
        std::filesystem::create_directories(agents);
        std::ofstream{machine.jobFile()} << "{ Label = x; }";
        jobLoaded = true;
        startClient(byJob);
    }
    if (chance(0.5)) {
        const char* versions[] = {"1.0", "0.9"};
        writeDictionaryToFile({{"lastRunVersion", versions[below(2)]}},
                              machine.preferences(Tolvin::settingsFile));
    }
    silent = chance(0.2);
    machine.setTool("launchctl", [this](const auto& arguments) { return launchctl(arguments); });
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

ToolResult SimulatedLogin::launchctl(const std::vector<std::string>& arguments) {
    const auto& command = arguments[0];
    if (command == "list") {
        return {.output = !jobLoaded     ? "Not loaded"
                          : jobWillStart ? "PID = -\nLastExitStatus = 1\n"
                          : runs[byJob]  ? "PID = 7\nLastExitStatus = 0\n"
                                         : "PID = -\nLastExitStatus = 0\n"};
    }
    if (command != "load") {
        jobLoaded = jobWillStart = false;
        ++loads;
        after(0, [this] { endClient(byJob, false); });
    } else if (std::filesystem::exists(arguments[1])) {
        jobLoaded = true;
        startJobAfter(upTo(chance(0.8) ? 1 : 25));
    }
    return {.seconds = chance(0.1) ? upTo(15) : upTo(0.3), .status = below(2)};
}

void SimulatedLogin::startJobAfter(double seconds) {
    jobWillStart = true;
    after(seconds, [this, loaded = ++loads] {
        if (loads == loaded) {
            jobWillStart = false;
            startClient(byJob);
        }
    });
}

void SimulatedLogin::startClient(Starter starter) {
    runs[starter] = machine.clientRuns = true;
    ++generation;
    say("Connected", upTo(2));
    if (!calm && chance(0.3)) {
        after(upTo(30), [this, starter] { endClient(starter, true); });
    }
}

void SimulatedLogin::endClient(Starter starter, bool crashed) {
    if (std::exchange(runs[starter], false)) {
        machine.clientRuns = clients() > 0;
        ++generation;
        if (starter == byJob && crashed && jobLoaded) {
            startJobAfter(10);
        }
    }
}

void SimulatedLogin::say(const std::string& status, double afterSeconds) {
    if (silent && !calm) {
        return;
    }
    after(afterSeconds, [this, status, speaker = generation.load()] {
        if (machine.clientRuns && generation == speaker) {
            NSDistributedNotificationCenter::defaultCenter().postNotification(
                {.name = Tolvin::statusUpdate, .userInfo = NSDictionary{{"status", status}}});
        }
    });
}

void SimulatedLogin::hear(const std::string& name) {
    if (!machine.clientRuns) {
        return;
    }
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
