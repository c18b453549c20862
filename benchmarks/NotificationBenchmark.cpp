// From post to observer through the notification centre, against the same round over bare sd-bus:
// one real bus, one run, by turns. The centre may take 1.2 times as long.
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSRunLoop.h"
#include "support/PrivateBus.h"
#include "System/RealMachine.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <systemd/sd-bus.h>
#include <vector>

namespace {

constexpr int turns = 40;
constexpr int roundsInATurn = 250;
constexpr double promised = 1.2;

} // namespace

class BusMachine : public RealMachine {
public:
    explicit BusMachine(std::string address) : address(std::move(address)) {}
    std::string sessionBusAddress() const override { return address; }

private:
    std::string address;
};

namespace {

/// Microseconds that one round takes.
template <class Round>
double timeTurn(Round round) {
    const auto start = std::chrono::steady_clock::now();
    for (int count = 0; count < roundsInATurn; ++count) {
        round();
    }
    const std::chrono::duration<double, std::micro> taken =
        std::chrono::steady_clock::now() - start;
    return taken.count() / roundsInATurn;
}

double median(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return times[times.size() / 2];
}

int hear(sd_bus_message* message, void* heard, sd_bus_error*) {
    const char *name = nullptr, *object = nullptr, *key = nullptr, *text = nullptr;
    sd_bus_message_read(message, "ssa{ss}", &name, &object, 1, &key, &text);
    ++*static_cast<int*>(heard);
    return 0;
}

} // namespace

int main() {
    const PrivateBus privateBus;
    Machine::install(std::make_shared<BusMachine>(privateBus.address()));

    int heardBare = 0;
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    sd_bus_set_address(bus, privateBus.address().c_str());
    sd_bus_set_bus_client(bus, 1);
    if (sd_bus_start(bus) < 0 ||
        sd_bus_add_match(bus, nullptr, "type='signal',member='Posted',arg0='Bare'", hear,
                         &heardBare) < 0) {
        std::puts("no bus");
        return 1;
    }
    const auto bareRound = [&] {
        const int before = heardBare;
        sd_bus_emit_signal(bus, "/com/quorvane/DistributedNotifications",
                           "com.quorvane.DistributedNotifications", "Posted", "ssa{ss}", "Bare", "",
                           1, "status", "Connected");
        while (heardBare == before) {
            if (sd_bus_process(bus, nullptr) == 0) {
                sd_bus_wait(bus, UINT64_MAX);
            }
        }
    };

    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    auto& centre = NSDistributedNotificationCenter::defaultCenter();
    const auto observer = std::make_shared<int>();
    int heard = 0;
    centre.addObserver(observer, "Centre", [&](const NSNotification& notification) {
        heard += notification.userInfoString("status") ? 1 : 0;
    });
    const auto centreRound = [&] {
        const int before = heard;
        centre.postNotification({"Centre", std::nullopt, NSDictionary{{"status", "Connected"}}});
        loop.runUntil([&] { return heard != before; });
    };

    timeTurn(bareRound);
    timeTurn(centreRound);
    std::vector<double> bareTimes, centreTimes;
    for (int turn = 0; turn < turns; ++turn) {
        bareTimes.push_back(timeTurn(bareRound));
        centreTimes.push_back(timeTurn(centreRound));
    }
    sd_bus_flush_close_unref(bus);
    centre.reset();
    const double bare = median(bareTimes), own = median(centreTimes);
    std::printf("post to observer: %.1f us; bare sd-bus: %.1f us; ratio %.2f (at most %.1f)\n", own,
                bare, own / bare, promised);
    return own / bare <= promised ? 0 : 1;
}
