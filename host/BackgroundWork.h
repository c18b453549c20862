// Work that would make the window wait: done on a thread of its own, its result taken on the main
// one.
#pragma once

#include "Foundation/NSException.h"
#include "Foundation/NSThread.h"

#include <functional>
#include <memory>
#include <optional>
#include <utility>

/// One run at a time; all that is asked for during a run is served by one run after it. Main thread
/// only. A run may outlive this object: then nobody takes its result.
template <class Result>
class BackgroundWork {
public:
    using Work = std::function<Result()>;

    /// `prepare` is called on the main thread for each run, and gives it all that it works with.
    BackgroundWork(std::function<Work()> prepare, std::function<void(Result)> take)
        : prepare(std::move(prepare)), take(std::move(take)) {}

    void start() {
        wanted = true;
        if (!std::exchange(running, true)) {
            run();
        }
    }

private:
    void run() {
        wanted = false;
        const auto body = [this, alive = std::weak_ptr(life), work = prepare()] {
            std::optional<Result> result;
            reportExceptions([&] { result = work(); });
            performOnMainThread(
                [this, alive, result = std::move(result)] {
                    if (alive.lock()) {
                        finish(result);
                    }
                },
                false);
        };
        try {
            NSThread::detachNewThread(body);
        } catch (const NSException&) { // no thread is to be had; the next event asks again
            running = false;
        }
    }
    void finish(const std::optional<Result>& result) {
        running = false;
        if (result) {
            take(*result);
        }
        if (wanted) {
            start();
        }
    }

    std::function<Work()> prepare;
    std::function<void(Result)> take;
    bool running = false, wanted = false;
    std::shared_ptr<void> life = std::make_shared<char>();
};
