// A test on a bus of its own, which hears what it observes as any program of the login does.
#pragma once

#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "support/PrivateBus.h"
#include "support/TestMachine.h"

class BusTest : public RealTimeMachineTest {
protected:
    BusTest() { machine->busAddress = bus.address(); }
    ~BusTest() override {
        observer = nullptr;
        machine->busAddress.clear();
        centre.reset();
    }

    void observe(const std::string& name) {
        centre.addObserver(observer, name, [this](const NSNotification& notification) {
            EXPECT_TRUE(NSThread::isMainThread());
            heard.push_back(notification);
        });
    }
    bool run(const std::function<bool()>& until) {
        return NSRunLoop::mainRunLoop().runUntil(until, clock->now() + std::chrono::minutes(1));
    }
    bool runUntilHeard(std::size_t count) {
        return run([&] { return heard.size() >= count; });
    }

    PrivateBus bus;
    NSDistributedNotificationCenter& centre = NSDistributedNotificationCenter::defaultCenter();
    std::shared_ptr<int> observer = std::make_shared<int>();
    std::vector<NSNotification> heard;
};
