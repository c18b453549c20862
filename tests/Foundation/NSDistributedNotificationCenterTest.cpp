#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "support/PrivateBus.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <csignal>
#include <functional>
#include <systemd/sd-bus.h>
#include <thread>

namespace {

using namespace std::chrono_literals;

/// Another process of the login, as far as the bus can tell. Counts what it hears of "n".
class Peer {
public:
    explicit Peer(const std::string& address) {
        const auto count = [](sd_bus_message*, void* self, sd_bus_error*) {
            return ++static_cast<Peer*>(self)->heard, 0;
        };
        sd_bus_new(&bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        EXPECT_GE(sd_bus_start(bus), 0);
        EXPECT_GE(sd_bus_add_match(bus, nullptr, "arg0='n'", count, this), 0);
    }
    ~Peer() { sd_bus_flush_close_unref(bus); }

    template <class... Values>
    void post(const char* signature, const Values&... values) {
        EXPECT_GE(sd_bus_emit_signal(bus, "/com/quorvane/DistributedNotifications",
                                     "com.quorvane.DistributedNotifications", "Posted", signature,
                                     values...),
                  0);
        sd_bus_flush(bus);
    }
    bool hears(int number) {
        while (heard < number &&
               (sd_bus_process(bus, nullptr) > 0 || sd_bus_wait(bus, 10'000'000) > 0)) {
        }
        return heard == number;
    }

private:
    sd_bus* bus = nullptr;
    int heard = 0;
};

class NSDistributedNotificationCenterTest : public RealTimeMachineTest {
protected:
    NSDistributedNotificationCenterTest() { machine->busAddress = bus.address(); }
    ~NSDistributedNotificationCenterTest() override {
        observer = nullptr;
        machine->busAddress.clear();
        centre.reset();
    }

    PrivateBus bus;
    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    NSDistributedNotificationCenter& centre = NSDistributedNotificationCenter::defaultCenter();
    std::shared_ptr<int> observer = std::make_shared<int>();
    std::vector<NSNotification> heard;

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
    /// From then on this process hears what others post under the names observed before.
    void meet(Peer& peer) {
        heard.clear();
        observe("meeting");
        EXPECT_TRUE(run([&] { return peer.post("ssa{ss}", "meeting", "", 0), !heard.empty(); }));
        centre.removeObserver(observer.get(), "meeting");
        heard.clear();
    }
    std::size_t linesWith(const std::string& text) const {
        const auto lines = machine->consoleLines();
        return static_cast<std::size_t>(
            std::count_if(lines.begin(), lines.end(),
                          [&](const auto& line) { return line.find(text) != line.npos; }));
    }
};

TEST_F(NSDistributedNotificationCenterTest, WhatIsPostedArrivesAsItWasWithOrWithoutABus) {
    const std::vector<NSNotification> posts{
        {"plain", std::nullopt, std::nullopt},
        {"with 'quotes', \\ and ü", "an object", std::nullopt},
        {"info", std::nullopt, NSDictionary{{"status", "Connected"}, {"", ""}, {"☂", "%@ 'x'"}}},
        {"heavy", std::nullopt, NSDictionary{{"", std::string(1024 * 1024 - 5, 'x')}}},
    };
    for (const auto& post : posts) {
        observe(post.name);
    }
    for (const auto& address : {bus.address(), std::string("unix:path=/nowhere"), std::string()}) {
        centre.reset();
        machine->busAddress = address;
        heard.clear();
        std::thread([&] { centre.postNotificationName("plain"); }).join();
        for (const auto& post : posts) {
            centre.postNotification(post);
        }
        EXPECT_TRUE(heard.empty()) << "delivered while it was being posted";
        ASSERT_TRUE(runUntilHeard(posts.size() + 1));
        for (std::size_t index = 0; index < posts.size(); ++index) {
            EXPECT_EQ(heard[index + 1].name, posts[index].name);
            EXPECT_EQ(heard[index + 1].object, posts[index].object);
            EXPECT_EQ(heard[index + 1].userInfo, posts[index].userInfo);
        }
    }
}

TEST_F(NSDistributedNotificationCenterTest, WhatIsUnfitIsNeitherSentNorTaken) {
    Peer peer(bus.address());
    observe("n");
    meet(peer);
    const std::string tooLong(1024 * 1024, 'x');
    peer.post("s", "n");
    peer.post("ssa{sv}", "n", "", 0);
    peer.post("ssa{ss}s", "n", "", 0, "more");
    peer.post("ssa{ss}", "n", "", 1, "k", tooLong.c_str());
    peer.post("ssa{ss}", "n", "fit", 1, "status", "fine");
    ASSERT_TRUE(runUntilHeard(1));
    NSDictionary many;
    for (int index = 0; index <= 1000; ++index) {
        many.setObject("", std::to_string(index));
    }
    for (const auto& unfit :
         {NSDictionary{{"number", 1}}, NSDictionary{{"bytes", "\xff"}},
          NSDictionary{{"zero", std::string(1, '\0')}}, NSDictionary{{"x", tooLong}}, many}) {
        centre.postNotification({.name = "n", .userInfo = unfit});
    }
    centre.postNotificationName("n", "last");
    ASSERT_TRUE(runUntilHeard(2));
    EXPECT_EQ(heard[0].object, "fit");
    EXPECT_EQ(heard[0].userInfoString("status"), "fine");
    EXPECT_EQ(heard[1].object, "last");
    EXPECT_EQ(linesWith("dropped: foreign signature"), 3U);
    EXPECT_EQ(linesWith("dropped: too large"), 1U);
    EXPECT_EQ(linesWith("not posted: it holds something else than text"), 3U);
    EXPECT_EQ(linesWith("not posted: it is too large"), 2U);
}

TEST_F(NSDistributedNotificationCenterTest, ObserversComeAndGoWhileNotificationsAreDelivered) {
    std::string calls;
    auto gone = std::make_shared<int>();
    const auto later = std::make_shared<int>();
    const auto add = [&](const std::shared_ptr<int>& who, const std::string& what) {
        centre.addObserver(who, "n", [&, what](const auto&) { calls += what; });
    };
    centre.addObserver(observer, "n", [&](const NSNotification&) {
        calls += "first ";
        centre.removeObserver(later.get(), "n");
        gone = nullptr;
        add(later, "added ");
        if (calls == "first ") {
            // A loop within an observer goes on with what came next.
            centre.postNotificationName("n");
            run([&] { return calls.ends_with("last "); });
            throw NSException(NSInvalidArgumentException, "an observer's own trouble");
        }
    });
    add(gone, "gone ");
    add(later, "removed ");
    add(observer, "last ");
    centre.postNotificationName("n");
    ASSERT_TRUE(run([&] { return calls.ends_with("last last "); }));
    EXPECT_EQ(calls, "first first last last ");
    EXPECT_EQ(linesWith("an observer's own trouble"), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, LivesWithoutABusSaysSoOnceAndJoinsWhenThereIsOne) {
    bus.kill();
    observe("n");
    for (std::size_t round = 1; round <= 3; ++round) {
        centre.postNotificationName("n", "alone");
        centre.postNotificationName("n", "still alone");
        ASSERT_TRUE(runUntilHeard(2));
        EXPECT_EQ(linesWith("No session bus"), round);
        bus.start();
        Peer peer(bus.address());
        meet(peer);
        // Nothing that stayed within the process is sent after all.
        centre.postNotificationName("n", "both");
        ASSERT_TRUE(runUntilHeard(1));
        EXPECT_TRUE(peer.hears(1));
        heard.clear();
        bus.kill();
    }
}

TEST_F(NSDistributedNotificationCenterTest, ABusThatHangsAndThenABurstHoldUpNobody) {
    observe("n");
    centre.postNotificationName("n", "0");
    ASSERT_TRUE(runUntilHeard(1));
    bus.signal(SIGSTOP);
    constexpr std::size_t count = 100'000; // far more than the socket takes
    for (std::size_t index = 1; index < count; ++index) {
        centre.postNotificationName("n", std::to_string(index));
    }
    std::size_t turns = 0, before = 1, most = 0;
    std::function<void()> otherWork = [&] {
        ++turns;
        most = std::max(most, heard.size() - before);
        before = heard.size();
        if (before < count) {
            loop.performBlock(otherWork);
        }
    };
    loop.performBlock(otherWork);
    EXPECT_TRUE(run([&] { return turns > 100; }));
    EXPECT_EQ(heard.size(), 1U);
    bus.signal(SIGCONT);
    EXPECT_TRUE(run([&] { return before == count; }));
    EXPECT_LE(most, 64U);
    for (std::size_t index = 0; index < heard.size(); ++index) {
        ASSERT_EQ(heard[index].object, std::to_string(index));
    }
}

TEST_F(NSDistributedNotificationCenterTest, WhatWasPostedAtTheEndStillGoesOut) {
    observe("n"); // what this process hears itself must not get in the way
    Peer peer(bus.address());
    // The connection is not even made when the end comes.
    for (int index = 0; index < 5000; ++index) {
        centre.postNotificationName("n");
    }
    centre.reset();
    EXPECT_TRUE(peer.hears(5000));
    // A bus that does not answer is not waited for without end.
    bus.signal(SIGSTOP);
    centre.postNotificationName("n");
    centre.reset();
}

} // namespace
