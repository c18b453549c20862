#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "support/PrivateBus.h"
#include "support/TestMachine.h"

#include <csignal>
#include <functional>
#include <systemd/sd-bus.h>
#include <thread>

namespace {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

/// Another process of the login, as far as the bus can tell.
class Peer {
public:
    explicit Peer(const std::string& address, bool listens = true) {
        sd_bus_new(&bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        EXPECT_GE(sd_bus_start(bus), 0);
        if (listens) {
            EXPECT_GE(sd_bus_add_match(bus, nullptr, "member='Posted'", note, this), 0);
        }
    }
    ~Peer() { sd_bus_flush_close_unref(bus); }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    template <class... Values>
    void post(const char* signature, const Values&... values) {
        EXPECT_GE(sd_bus_emit_signal(bus, "/com/quorvane/DistributedNotifications",
                                     "com.quorvane.DistributedNotifications", "Posted", signature,
                                     values...),
                  0);
        // A sender may be faster than its socket.
        std::uint64_t queued = 0;
        while (sd_bus_get_n_queued_write(bus, &queued) >= 0 && queued > 10'000) {
            sd_bus_process(bus, nullptr);
        }
    }
    void flush() { sd_bus_flush(bus); }
    /// Everything that has been heard when `name` comes.
    Names heardUntil(const std::string& name) {
        while (heard.empty() || heard.back() != name) {
            const int result = sd_bus_process(bus, nullptr);
            if (result < 0 || (result == 0 && sd_bus_wait(bus, 10'000'000) <= 0)) {
                ADD_FAILURE() << name << " does not come";
                break;
            }
        }
        return heard;
    }

private:
    static int note(sd_bus_message* message, void* self, sd_bus_error*) {
        const char* name = nullptr;
        sd_bus_message_read(message, "s", &name);
        static_cast<Peer*>(self)->heard.emplace_back(name);
        return 0;
    }
    sd_bus* bus = nullptr;
    Names heard;
};

class NSDistributedNotificationCenterTest : public RealTimeMachineTest {
protected:
    ~NSDistributedNotificationCenterTest() override {
        observer = nullptr;
        machine->busAddress.clear();
        centre.reset();
    }

    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    NSDistributedNotificationCenter& centre = NSDistributedNotificationCenter::defaultCenter();
    std::shared_ptr<int> observer = std::make_shared<int>();
    std::vector<NSNotification> heard;

    void useBus(const PrivateBus& bus) {
        centre.reset();
        machine->busAddress = bus.address();
    }
    void observe(const std::string& name) {
        centre.addObserver(observer, name, [this](const NSNotification& notification) {
            EXPECT_TRUE(NSThread::isMainThread());
            heard.push_back(notification);
        });
    }
    bool run(const std::function<bool()>& until) {
        return loop.runUntil(until, clock->now() + 60s);
    }
    bool runUntilHeard(std::size_t count) {
        return run([&] { return heard.size() >= count; });
    }
    /// Another process's posts reach this one as soon as one of them does.
    void meet(Peer& peer) {
        heard.clear();
        observe("meeting");
        ASSERT_TRUE(run([&] {
            peer.post("ssa{ss}", "meeting", "", 0);
            peer.flush();
            return !heard.empty();
        }));
        centre.removeObserver(observer.get(), "meeting");
        heard.clear();
    }
    std::size_t consoleLinesWith(const std::string& text) const {
        std::size_t count = 0;
        for (const auto& line : machine->consoleLines()) {
            count += line.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }
};

TEST_F(NSDistributedNotificationCenterTest, WhatIsPostedArrivesAsItWasWithOrWithoutABus) {
    std::string longest(1024 * 1024 - 5, 'x');
    const std::vector<NSNotification> posts{
        {"plain", std::nullopt, std::nullopt},
        {"with 'quotes', \\ and ü", "an object", std::nullopt},
        {"info", std::nullopt, NSDictionary{{"status", "Connected"}, {"", ""}, {"☂", "%@ 'x'"}}},
        {"heavy", std::nullopt, NSDictionary{{"", longest}}},
    };
    const PrivateBus bus;
    for (const auto& address : {bus.address(), std::string("unix:path=/nowhere"), std::string()}) {
        centre.reset();
        machine->busAddress = address;
        heard.clear();
        for (const auto& post : posts) {
            observe(post.name);
        }
        std::thread elsewhere([&] { centre.postNotificationName("plain"); });
        elsewhere.join();
        for (const auto& post : posts) {
            centre.postNotification(post);
        }
        EXPECT_TRUE(heard.empty()) << "delivered while it was being posted";
        ASSERT_TRUE(runUntilHeard(posts.size() + 1));
        for (std::size_t index = 0; index < posts.size(); ++index) {
            EXPECT_EQ(heard[index + 1].name, posts[index].name);
            EXPECT_EQ(heard[index + 1].object, posts[index].object);
            EXPECT_EQ(heard[index + 1].userInfo, posts[index].userInfo);
            centre.removeObserver(observer.get(), posts[index].name);
        }
    }
}

TEST_F(NSDistributedNotificationCenterTest, WhatCannotTravelIsNotPosted) {
    NSDictionary many;
    for (int index = 0; index <= 1000; ++index) {
        many.setObject("", std::to_string(index));
    }
    observe("n");
    for (const auto& unfit : {NSDictionary{{"number", 1}}, NSDictionary{{"bytes", "\xff"}},
                              NSDictionary{{"zero", std::string(1, '\0')}},
                              NSDictionary{{"x", std::string(1 << 20, 'x')}}, many}) {
        centre.postNotification({"n", std::nullopt, unfit});
    }
    centre.postNotificationName("n");
    ASSERT_TRUE(runUntilHeard(1));
    EXPECT_EQ(heard.front().userInfo, std::nullopt);
    EXPECT_EQ(consoleLinesWith("not posted: it holds something else than text"), 3U);
    EXPECT_EQ(consoleLinesWith("not posted: it is too large"), 2U);
}

TEST_F(NSDistributedNotificationCenterTest, DropsForeignAndOversizedMessagesWithOneLineEach) {
    const PrivateBus bus;
    useBus(bus);
    Peer peer(bus.address());
    meet(peer);
    observe("n");
    const std::string tooLong(1024 * 1024, 'x');
    peer.post("s", "n");
    peer.post("ssa{sv}", "n", "", 0);
    peer.post("ssa{ss}s", "n", "", 0, "more");
    peer.post("ssa{ss}", "n", "", 1, "k", tooLong.c_str());
    peer.post("ssa{ss}", "n", "last", 1, "status", "fine");
    peer.flush();
    ASSERT_TRUE(runUntilHeard(1));
    EXPECT_EQ(heard.front().object, "last");
    EXPECT_EQ(heard.front().userInfoString("status"), "fine");
    EXPECT_EQ(consoleLinesWith("dropped: foreign signature"), 3U);
    EXPECT_EQ(consoleLinesWith("dropped: too large"), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, ObserversComeAndGoWhileNotificationsAreDelivered) {
    Names calls;
    auto gone = std::make_shared<int>();
    const auto later = std::make_shared<int>();
    const auto add = [&](const std::shared_ptr<int>& who, const std::string& what,
                         const std::function<void()>& also) {
        centre.addObserver(who, "n", [&calls, what, also](const NSNotification&) {
            calls.push_back(what);
            also();
        });
    };
    add(observer, "first", [&] {
        centre.removeObserver(later.get(), "n");
        gone = nullptr;
        centre.addObserver(later, "added", [](const NSNotification&) {});
        if (calls.size() == 1) {
            // A loop within an observer goes on with what came next.
            centre.postNotificationName("n");
            run([&] { return calls.size() >= 2; });
            throw NSException(NSInvalidArgumentException, "an observer's own trouble");
        }
    });
    add(gone, "gone", [] {});
    add(later, "removed", [] {});
    add(observer, "last", [] {});
    centre.postNotificationName("n");
    ASSERT_TRUE(run([&] { return calls.size() >= 4; }));
    EXPECT_EQ(calls, (Names{"first", "first", "last", "last"}));
    EXPECT_EQ(consoleLinesWith("an observer's own trouble"), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, LivesWithoutABusSaysSoOnceAndJoinsWhenThereIsOne) {
    PrivateBus bus;
    bus.kill();
    useBus(bus);
    observe("n");
    centre.postNotificationName("n", "alone");
    centre.postNotificationName("n", "still alone");
    ASSERT_TRUE(runUntilHeard(2));
    for (int round = 1; round <= 2; ++round) {
        bus.start();
        Peer peer(bus.address());
        meet(peer);
        EXPECT_EQ(consoleLinesWith("No session bus"), static_cast<std::size_t>(round));
        // Nothing that stayed within the process is sent after all.
        centre.postNotificationName("n", "both");
        ASSERT_TRUE(runUntilHeard(1));
        EXPECT_EQ(heard.front().object, "both");
        peer.heardUntil("n");
        bus.kill();
        ASSERT_TRUE(run([&] {
            return consoleLinesWith("No session bus") == static_cast<std::size_t>(round) + 1;
        }));
        heard.clear();
    }
}

TEST_F(NSDistributedNotificationCenterTest, ABusThatHangsHoldsUpNobody) {
    const PrivateBus bus;
    useBus(bus);
    Peer peer(bus.address());
    meet(peer);
    observe("n");
    bus.signal(SIGSTOP);
    constexpr std::size_t count = 20'000;
    for (std::size_t index = 0; index < count; ++index) {
        centre.postNotificationName("n", std::to_string(index));
    }
    bool served = false;
    loop.performBlock([&] { served = true; });
    EXPECT_TRUE(run([&] { return served; }));
    EXPECT_TRUE(heard.empty());
    bus.signal(SIGCONT);
    ASSERT_TRUE(runUntilHeard(count));
    for (std::size_t index = 0; index < count; ++index) {
        ASSERT_EQ(heard[index].object, std::to_string(index));
    }
}

TEST_F(NSDistributedNotificationCenterTest, ABurstLosesNothingAndLeavesRoomForOtherWork) {
    const PrivateBus bus;
    useBus(bus);
    constexpr int count = 100'000;
    std::thread sender;
    {
        Peer peer(bus.address());
        meet(peer);
    }
    observe("n");
    // Heard by ourselves, so the bus has all requests of this process.
    centre.postNotificationName("n");
    ASSERT_TRUE(runUntilHeard(1));
    heard.clear();
    sender = std::thread([&] {
        Peer peer(bus.address(), false);
        for (int index = 0; index < count; ++index) {
            peer.post("ssa{ss}", "n", "", 1, "status", std::to_string(index).c_str());
        }
    });
    std::size_t before = 0, most = 0;
    bool otherWorkEnds = false;
    std::function<void()> otherWork = [&] {
        most = std::max(most, heard.size() - before);
        before = heard.size();
        if (heard.size() < count) {
            loop.performBlock(otherWork);
        } else {
            otherWorkEnds = true;
        }
    };
    loop.performBlock(otherWork);
    EXPECT_TRUE(run([&] { return otherWorkEnds; }));
    sender.join();
    EXPECT_LE(most, 64U);
    for (std::size_t index = 0; index < heard.size(); ++index) {
        ASSERT_EQ(heard[index].userInfoString("status"), std::to_string(index));
    }
}

TEST_F(NSDistributedNotificationCenterTest, WhatWasPostedAtTheEndStillGoesOut) {
    const PrivateBus bus;
    useBus(bus);
    Peer peer(bus.address());
    // The connection is not even made when the end comes.
    for (int index = 0; index < 5000; ++index) {
        centre.postNotificationName("many");
    }
    centre.postNotificationName("last");
    centre.reset();
    EXPECT_EQ(peer.heardUntil("last").size(), 5001U);
    // A bus that does not answer is not waited for without end.
    bus.signal(SIGSTOP);
    centre.postNotificationName("never");
    centre.reset();
    bus.signal(SIGCONT);
}

} // namespace
