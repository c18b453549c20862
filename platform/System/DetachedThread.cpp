#include "System/DetachedThread.h"

#include <csignal>
#include <memory>
#include <pthread.h>
#include <system_error>
#include <utility>

namespace {

constexpr std::size_t stackBytes = 1024 * 1024;

using Body = std::function<void()>;

void* run(void* argument) {
    const std::unique_ptr<Body> body(static_cast<Body*>(argument));
    (*body)();
    return nullptr;
}

int create(Body* body) {
    pthread_attr_t attributes;
    int problem = pthread_attr_init(&attributes);
    if (problem == 0) {
        pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
        pthread_attr_setstacksize(&attributes, stackBytes);
        pthread_t thread{};
        problem = pthread_create(&thread, &attributes, run, body);
        pthread_attr_destroy(&attributes);
    }
    return problem;
}

} // namespace

void startDetachedThread(std::function<void()> body) {
    auto kept = std::make_unique<Body>(std::move(body));
    // A new thread has its starter's mask.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int problem = create(kept.get());
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (problem != 0) {
        throw std::system_error(problem, std::generic_category(), "Cannot start a thread");
    }
    [[maybe_unused]] auto* const itsOwn = kept.release();
}
