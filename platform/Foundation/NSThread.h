// Threads of the panel's own, and work for the main thread.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/// A thread with the flags that its starter may ask for. Its body keeps alive whatever it captures,
/// and lets it go when it ends. An exception that leaves the body is written to the console.
class NSThread {
public:
    explicit NSThread(std::function<void()> body) : body(std::move(body)) {}
    NSThread(const NSThread&) = delete;
    NSThread& operator=(const NSThread&) = delete;

    /// Runs the body on a new thread; once. The thread outlives this object if need be. Raises
    /// NSInternalInconsistencyException when the system has no thread left.
    void start();
    bool isExecuting() const { return flags->executing; }
    bool isFinished() const { return flags->finished; }
    bool isCancelled() const { return flags->cancelled; }
    /// Sets the flag; nothing else happens.
    void cancel() { flags->cancelled = true; }

    static void detachNewThread(std::function<void()> body);
    static bool isMainThread();
    /// Sleeps by the machine's clock; on the main thread too, which serves nothing meanwhile.
    static void sleepForTimeInterval(double seconds);

    /// How many threads started here have not ended.
    static std::size_t running();

private:
    struct Flags {
        std::atomic<bool> executing{false}, finished{false}, cancelled{false};
    };
    std::function<void()> body;
    std::shared_ptr<Flags> flags = std::make_shared<Flags>();
};

/// Has the main thread run `work`. Waiting, from the main thread itself, it runs at once; waiting
/// from another, the caller blocks until it has run, and what it raised is raised in the caller.
void performOnMainThread(std::function<void()> work, bool waitUntilDone);

/// Makes an object whose last reference may be dropped on any thread: it is destroyed on the main
/// one.
template <class T, class... Arguments>
std::shared_ptr<T> makeForMainThread(Arguments&&... arguments) {
    return std::shared_ptr<T>(new T(std::forward<Arguments>(arguments)...), [](T* object) {
        performOnMainThread([object] { delete object; }, NSThread::isMainThread());
    });
}
