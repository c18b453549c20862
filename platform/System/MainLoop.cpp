#include "System/MainLoop.h"

#include <atomic>

namespace {

std::atomic<MainLoop*> theLoop = nullptr;

} // namespace

MainLoop::MainLoop() { theLoop = this; }

MainLoop* MainLoop::ofThisThread() {
    MainLoop* const loop = theLoop;
    return loop != nullptr && loop->isCurrentThread() ? loop : nullptr;
}
