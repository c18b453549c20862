#include "Foundation/NotificationBus.h"
#include "Foundation/NSException.h"
#include "support/BusTest.h"

#include <algorithm>
#include <csignal>
#include <thread>

namespace {

/// Another process of the login, as far as the bus can tell. Counts what it hears of "n".
class Peer {
public:
    explicit Peer(const std::string& address)
        : bus(NotificationBus::join(address, [this](const auto&) { ++heard; })) {
        while (!bus->isReady() && goesOn()) {
        }
        bus->watchName("n");
        bus->settle();
    }
    /// Waits until so many have come, and says whether there are no more.
    bool hears(int number) {
        while (heard < number && goesOn()) {
        }
        return heard == number;
    }

private:
    bool goesOn() const {
        return bus->process() == NotificationBus::Processing::something || bus->waitForBus(10'000);
    }

    int heard = 0;
    std::unique_ptr<NotificationBus> bus;
};

class NSDistributedNotificationCenterTest : public BusTest {
protected:
    /// Another process's post, of any form: the arguments as dbus-send has them.
    void send(const std::string& arguments) const {
        const auto command = "dbus-send --bus=" + bus.address() +
                             " --type=signal /com/quorvane/DistributedNotifications"
                             " com.quorvane.DistributedNotifications.Posted " +
                             arguments;
        EXPECT_EQ(std::system(command.c_str()), 0);
    }
    /// From then on this process hears what others post under the names observed before.
    void meet() {
        observe("meeting");
        EXPECT_TRUE(run([this] {
            send("string:meeting string: dict:string:string:a,b");
            return heard.size() > 0;
        }));
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
    observe("n");
    meet();
    send("string:n");
    send("string:n string: dict:string:int32:a,1");
    send("string:n string: dict:string:string:a,b string:more");
    send("string:n string: dict:string:string:$(seq -s, 2002)");
    send("string:n string:fit dict:string:string:status,fine");
    ASSERT_TRUE(runUntilHeard(1));
    const std::string tooLong(1024 * 1024, 'x');
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
        heard.clear();
        meet();
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
            NSRunLoop::mainRunLoop().performBlock(otherWork);
        }
    };
    NSRunLoop::mainRunLoop().performBlock(otherWork);
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
