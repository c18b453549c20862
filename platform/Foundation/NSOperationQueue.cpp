#include "Foundation/NSOperationQueue.h"

#include "Foundation/NSException.h"
#include "System/Condition.h"
#include "System/Machine.h"

#include <algorithm>
#include <condition_variable>
#include <set>
#include <system_error>
#include <vector>

struct NSOperationQueue::State {
    std::mutex mutex;
    std::condition_variable workerWake;
    Condition progress;
    std::deque<std::function<void()>> waiting;
    std::deque<std::function<void()>> running; // of the one who runs operations
    std::thread::id runner;                    // who runs an operation now; none while nobody does
    std::uint64_t added = 0, finished = 0;     // operations of all time
    // The clock that counts one busy thread for this queue, from the first operation that is added
    // to the last that is run. An idle worker is nobody's business.
    Clock* busyClock = nullptr;
    bool workerSleeps = false;
    bool ending = false;
    std::multiset<std::uint64_t> awaited; // the operations whose ends drains wait for

    bool runs() const { return runner != std::thread::id(); }
    bool canRun() const { return !waiting.empty() && !runs(); }
    bool isIdle() const { return waiting.empty() && !runs(); }
    void runWaiting(std::unique_lock<std::mutex>& lock, bool isWorker);
    void work();
    void drain();
    void drainUntilIdle();
    bool add(std::function<void()> operation);
};

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<std::weak_ptr<void>> states;
};

Registry& registry() {
    static auto* instance = new Registry;
    return *instance;
}

} // namespace

/// Says whether the worker would have to be woken for it.
bool NSOperationQueue::State::add(std::function<void()> operation) {
    std::lock_guard lock(mutex);
    waiting.push_back(std::move(operation));
    ++added;
    if (busyClock == nullptr) {
        busyClock = &Machine::current().clock();
        busyClock->threadStarts();
    }
    return workerSleeps && canRun();
}

/// Takes all that waits at once, so that those who add more seldom meet the one who runs it; but no
/// more than up to the next one that is awaited, whose end nothing that came later may delay.
void NSOperationQueue::State::runWaiting(std::unique_lock<std::mutex>& lock, bool isWorker) {
    running.swap(waiting);
    const auto next = awaited.upper_bound(finished);
    for (; next != awaited.end() && finished + running.size() > *next; running.pop_back()) {
        waiting.push_front(std::move(running.back()));
    }
    const auto taken = running.size();
    runner = std::this_thread::get_id();
    // Whoever drains counts as busy without the queue; counted twice, no time could pass while the
    // operation sleeps.
    Clock& clock = *busyClock;
    if (!isWorker) {
        clock.threadEnds();
    }
    lock.unlock();
    for (; !running.empty(); running.pop_front()) {
        reportExceptions(running.front());
    }
    lock.lock();
    if (!isWorker) {
        clock.threadStarts();
    }
    runner = {};
    finished += taken;
    if (!awaited.empty()) {
        progress.notifyAll(); // first, so that no time passes before they go on
    }
    if (workerSleeps && (ending || !waiting.empty())) {
        workerWake.notify_one(); // for what others have added, or to end
    }
    if (waiting.empty()) {
        busyClock = nullptr;
        clock.threadEnds();
    }
}

void NSOperationQueue::State::work() {
    std::unique_lock lock(mutex);
    for (;;) {
        while (canRun()) {
            runWaiting(lock, true);
        }
        if (ending && isIdle()) {
            return;
        }
        workerSleeps = true;
        workerWake.wait(lock, [this] { return canRun() || (ending && isIdle()); });
        workerSleeps = false;
    }
}

void NSOperationQueue::State::drain() {
    std::unique_lock lock(mutex);
    if (runner == std::this_thread::get_id()) {
        return;
    }
    const auto last = awaited.insert(added); // what others add from now on is the worker's
    const auto isDone = [&] { return finished >= *last; };
    while (!isDone()) {
        if (canRun()) {
            runWaiting(lock, false);
        } else {
            progress.wait(lock, [&] { return canRun() || isDone(); });
        }
    }
    awaited.erase(last);
}

void NSOperationQueue::State::drainUntilIdle() {
    const auto isLeft = [this] {
        const std::lock_guard lock(mutex);
        return runner != std::this_thread::get_id() && !isIdle();
    };
    while (isLeft()) {
        drain();
    }
}

NSOperationQueue::NSOperationQueue() : state(std::make_shared<State>()) {
    try {
        worker = std::thread([kept = state] { kept->work(); });
    } catch (const std::system_error&) { // then whoever adds an operation runs it
    }
    std::lock_guard lock(registry().mutex);
    std::erase_if(registry().states, [](const auto& entry) { return entry.expired(); });
    registry().states.emplace_back(state);
}

NSOperationQueue::~NSOperationQueue() {
    state->drainUntilIdle(); // whoever runs what is left
    {
        std::lock_guard lock(state->mutex);
        state->ending = true;
        state->workerWake.notify_one();
    }
    if (worker.joinable()) {
        worker.join();
    }
}

void NSOperationQueue::addOperation(std::function<void()> operation, bool drainFollows) {
    const bool wakes = state->add(std::move(operation));
    if (drainFollows) {
        return;
    }
    if (!worker.joinable()) {
        state->drain();
    } else if (wakes) {
        state->workerWake.notify_one();
    }
}

void NSOperationQueue::waitUntilAllOperationsAreFinished() { state->drain(); }

void NSOperationQueue::drainAll() {
    std::vector<std::shared_ptr<State>> states;
    {
        std::lock_guard lock(registry().mutex);
        for (const auto& entry : registry().states) {
            if (auto held = std::static_pointer_cast<State>(entry.lock())) {
                states.push_back(std::move(held));
            }
        }
    }
    for (const auto& each : states) {
        each->drainUntilIdle();
    }
}
