// A login to live through: a client that answers, dawdles, crashes or keeps silent, a job manager
// that is quick or hangs, a dialog that is granted or refused late, and a user who plays with the
// controls meanwhile. All of it is drawn from one seed and happens in virtual time.
#pragma once

#include "pane/SimulatedMachine.h"

#include <random>

class SimulatedLogin {
public:
    SimulatedLogin(SimulatedMachine& machine, unsigned seed);

    /// Lays out files and tools as the seed says. Before the pane is loaded.
    void prepare();
    /// From here on nobody does anything on a whim: what runs, answers.
    void calmDown() { calm = true; }

    /// Has an event happen on the main thread so many seconds from now. Any thread.
    void after(double seconds, std::function<void()> event);
    /// Nothing happens any more.
    void end() { over = true; }
    int clients() const { return runs[byJob] + runs[byPane]; }
    /// The threads on which events wait.
    std::atomic<std::size_t> threads{0};

    bool chance(double probability);
    double upTo(double seconds);
    int below(int limit) { return static_cast<int>(upTo(limit)); }

private:
    void hear(const std::string& name);
    void say(const std::string& status, double afterSeconds);
    enum Starter { byJob, byPane };
    void startClient(Starter starter);
    void endClient(Starter starter, bool crashed);
    void startJobAfter(double seconds);
    ToolResult launchctl(const std::vector<std::string>& arguments);

    SimulatedMachine& machine;
    std::mutex mutex; // guards the random numbers, which every thread draws
    std::mt19937 random;
    std::shared_ptr<int> client = std::make_shared<int>();
    std::array<bool, 2> runs{}; // a client of each starter; on the main thread
    std::atomic<bool> jobLoaded{false}, jobWillStart{false}, calm{false}, over{false};
    std::atomic<int> generation{0}; // of the client's process
    std::atomic<int> loads{0};      // of its job
    bool silent = false;
};
