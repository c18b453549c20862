#include "Foundation/NSException.h"
#include "support/BusTest.h"

#include <algorithm>
#include <csignal>
#include <thread>

namespace {

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
        bool met = false;
        centre.addObserver(observer, "meeting", [&](const auto&) { met = true; });
        EXPECT_TRUE(run([&] {
            send("string:meeting string: dict:string:string:a,b");
            return met;
        }));
        centre.removeObserver(observer.get(), "meeting");
    }
    /// How many were heard at most in one pass of the loop.
    std::size_t mostAtOnceUntilHeard(std::size_t count) {
        std::size_t before = heard.size(), most = 0;
        EXPECT_TRUE(run([&] {
            most = std::max(most, heard.size() - before);
            before = heard.size();
            return before >= count;
        }));
        return most;
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
        EXPECT_FALSE(centre.isAlone()) << "looked for a bus on another thread";
        for (const auto& post : posts) {
            centre.postNotification(post);
        }
        EXPECT_TRUE(heard.empty()) << "delivered while it was being posted";
        ASSERT_TRUE(runUntilHeard(posts.size() + 1));
        heard.erase(heard.begin()); // the thread's
        EXPECT_TRUE(heard == posts);
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
    for (const auto& unfit :
         {NSDictionary{{"number", 1}}, NSDictionary{{"bytes", "\xff"}},
          NSDictionary{{"zero", std::string(1, '\0')}}, NSDictionary{{"x", tooLong}}}) {
        centre.postNotification({.name = "n", .userInfo = unfit});
    }
    centre.postNotificationName("n", "last");
    ASSERT_TRUE(runUntilHeard(2));
    EXPECT_EQ(heard[0].object, "fit");
    EXPECT_EQ(heard[0].userInfoString("status"), "fine");
    EXPECT_EQ(heard[1].object, "last");
    std::string reasons;
    for (const auto& line : machine->consoleLines()) {
        reasons += line.substr(line.rfind(": "));
    }
    EXPECT_EQ(reasons, ": foreign signature" // and of the other three nothing
                       ": it holds something else than text: it holds something else than text"
                       ": it holds something else than text: it is too large");
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
    EXPECT_EQ(machine->consoleLines().size(), 1U);
}

TEST_F(NSDistributedNotificationCenterTest, LivesWithoutABusSaysSoOnceAndJoinsWhenThereIsOne) {
    bus.kill();
    observe("n");
    int turns = 0;
    centre.setAloneHandler([&] { ++turns; });
    for (std::size_t round = 1; round <= 3; ++round) {
        centre.postNotificationName("n", "alone");
        centre.postNotificationName("n", "still alone");
        ASSERT_TRUE(runUntilHeard(2));
        EXPECT_EQ(machine->consoleLines().size(), 2 * round - 1) << "lost, and joined in between";
        EXPECT_TRUE(centre.isAlone());
        const auto again = clock->now() + std::chrono::milliseconds(300);
        run([&] { return clock->now() >= again; }); // tries in vain
        bus.start();
        meet();
        send("string:n string:both dict:string:string:a,b");
        ASSERT_TRUE(runUntilHeard(3));
        EXPECT_EQ(heard[2].object, "both")
            << "what stayed within the process is not sent after all";
        heard.clear();
        bus.kill();
    }
    EXPECT_EQ(turns, 5);
    centre.setAloneHandler(nullptr);
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
    bool turned = false;
    NSRunLoop::mainRunLoop().performBlock([&] { turned = true; });
    EXPECT_TRUE(run([&] { return turned; }));
    EXPECT_EQ(heard.size(), 1U);
    bus.signal(SIGCONT);
    EXPECT_LE(mostAtOnceUntilHeard(count), 64U);
    for (std::size_t index = 0; index < heard.size(); ++index) {
        ASSERT_EQ(heard[index].object, std::to_string(index));
    }
    // Slow observers give way after each one; and no bus has a rule to spare for every name.
    heard.clear();
    constexpr std::size_t names = 600;
    for (std::size_t index = 0; index < names; ++index) {
        const auto name = "n" + std::to_string(index);
        centre.addObserver(observer, name, [&](const auto& notification) {
            heard.push_back(notification);
            usleep(heard.size() < 20 ? 5000 : 0);
        });
        centre.postNotificationName(name);
    }
    EXPECT_LE(mostAtOnceUntilHeard(19), 2U);
    EXPECT_TRUE(runUntilHeard(names));
    // At the end nor; and what waits has a bound.
    bus.signal(SIGSTOP);
    for (std::size_t index = 0; index < centre.maximumPosted + count / 2; ++index) {
        centre.postNotificationName("n");
    }
    EXPECT_FALSE(machine->consoleLines().empty()) << "says that it posts no more";
    centre.reset();
}

} // namespace
