#include "System/TerminationGuard.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace {

struct Termination {
    std::mutex mutex;
    std::condition_variable changed;
    int guards = 0;
    bool closed = false;
};

Termination& termination() {
    // Never destroyed: a thread may be blocked in it when the program ends.
    static auto* instance = new Termination;
    return *instance;
}

} // namespace

TerminationGuard::TerminationGuard() {
    auto& state = termination();
    std::unique_lock lock(state.mutex);
    state.changed.wait(lock, [&] { return !state.closed; });
    ++state.guards;
}

TerminationGuard::~TerminationGuard() {
    auto& state = termination();
    std::lock_guard lock(state.mutex);
    --state.guards;
    state.changed.notify_all();
}

bool TerminationGuard::closeForGood(double seconds) {
    auto& state = termination();
    std::unique_lock lock(state.mutex);
    state.closed = true;
    return state.changed.wait_for(lock, std::chrono::duration<double>(seconds),
                                  [&] { return state.guards == 0; });
}
