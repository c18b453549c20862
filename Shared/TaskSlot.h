// Where a running call of the task runner leaves its task, for another thread to find and end it.
#pragma once

#include "Foundation/NSTask.h"
#include "System/Clock.h"
#include "System/Condition.h"

#include <memory>
#include <mutex>

/// Any thread. What it hands out is either the running task or none.
class TaskSlot {
public:
    std::shared_ptr<NSTask> task() const;
    void setTask(std::shared_ptr<NSTask> newTask);
    /// Waits until the slot is empty; false when the deadline came first.
    bool waitUntilEmpty(Clock::Deadline deadline);

private:
    mutable std::mutex mutex;
    Condition emptied;
    std::shared_ptr<NSTask> held;
};
