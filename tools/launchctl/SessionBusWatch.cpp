#include "SessionBusWatch.h"

#include "System/Machine.h"

using namespace std::chrono_literals;

namespace {

constexpr Clock::Duration patience = 5s;
constexpr Clock::Duration pauseBetweenTries = 250ms;

} // namespace

SessionBusWatch::SessionBusWatch(std::string address) : address(std::move(address)) { join(); }

void SessionBusWatch::join() {
    if (!address.empty()) {
        bus = NotificationBus::join(address, [](const auto&) {});
    }
}

pollfd SessionBusWatch::descriptor() const {
    const auto events = bus ? bus->events() : std::nullopt;
    return {.fd = events ? bus->fileDescriptor() : -1,
            .events = static_cast<short>(events.value_or(0)),
            .revents = 0};
}

void SessionBusWatch::process() {
    const auto now = Machine::current().clock().now();
    if (bus) {
        auto result = NotificationBus::Processing::something;
        while (result == NotificationBus::Processing::something) {
            result = bus->process();
        }
        if (result == NotificationBus::Processing::lost) {
            bus.reset();
            lost = now;
            nextTry = now;
        }
    }
    if (nextTry && now >= *nextTry) {
        join();
        over = bus == nullptr && now - lost >= patience;
        nextTry = bus || over ? std::nullopt : Clock::Deadline(now + pauseBetweenTries);
    }
}
