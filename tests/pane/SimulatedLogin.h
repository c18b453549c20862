// A login to live through: a client that answers, dawdles, crashes or keeps silent, a job manager
// that is quick or hangs, a dialog that is granted or refused late, and a user who plays with the
// controls meanwhile. All of it is drawn from one seed and happens in virtual time.
#pragma once

#include "pane/SimulatedMachine.h"

#include <map>
#include <random>

/// Events at virtual times, run on the main thread in order by a thread of its own.
class Schedule {
public:
    explicit Schedule(Clock& clock) : clock(clock) {}

    void start();
    /// Any thread.
    void after(double seconds, std::function<void()> event);
    /// No event runs from now on; the thread ends.
    void stop();

private:
    void run();

    Clock& clock;
    std::mutex mutex;
    Condition changed;
    std::multimap<Clock::Time, std::function<void()>> events;
    bool stopped = false;
};

class SimulatedLogin {
public:
    SimulatedLogin(SimulatedMachine& machine, Schedule& schedule, unsigned seed);

    /// Lays out files and tools as the seed says. Before the pane is loaded.
    void prepare();
    /// From here on nobody does anything on a whim: what runs, answers.
    void calmDown() { calm = true; }

    bool chance(double probability);
    double upTo(double seconds);
    int below(int limit) { return static_cast<int>(upTo(limit)); }

private:
    void hear(const std::string& name);
    void say(const std::string& status, double afterSeconds);
    void startClient();
    void endClient(bool crashed);
    ToolResult launchctl(const std::vector<std::string>& arguments);

    SimulatedMachine& machine;
    Schedule& schedule;
    std::mutex mutex; // guards the random numbers, which every thread draws
    std::mt19937 random;
    std::shared_ptr<int> client = std::make_shared<int>();
    std::atomic<bool> jobLoaded{false}, calm{false};
    std::atomic<int> generation{0}; // of the client's process
    bool silent = false;
};
