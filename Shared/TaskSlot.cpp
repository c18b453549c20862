#include "Shared/TaskSlot.h"

std::shared_ptr<NSTask> TaskSlot::task() const {
    std::lock_guard lock(mutex);
    return held;
}

void TaskSlot::setTask(std::shared_ptr<NSTask> newTask) {
    std::lock_guard lock(mutex);
    held = std::move(newTask);
    if (!held) {
        emptied.notifyAll();
    }
}

bool TaskSlot::waitUntilEmpty(Clock::Deadline deadline) {
    std::unique_lock lock(mutex);
    return emptied.wait(
        lock, [this] { return !held; }, deadline);
}
