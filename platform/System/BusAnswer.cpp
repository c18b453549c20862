#include "System/BusAnswer.h"

#include <memory>
#include <systemd/sd-bus.h>

using std::chrono::steady_clock;

namespace {

struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};

} // namespace

bool busAnswers(const std::string& address, std::chrono::microseconds patience) {
    sd_bus* made = nullptr;
    if (address.empty() || sd_bus_new(&made) < 0) {
        return false;
    }
    const std::unique_ptr<sd_bus, Close> bus(made);
    const bool started = sd_bus_set_address(made, address.c_str()) >= 0 &&
                         sd_bus_set_bus_client(made, 1) >= 0 && sd_bus_start(made) >= 0;
    const auto ends = steady_clock::now() + patience;
    auto left = patience;
    int result = started ? 0 : -1;
    while (result >= 0 && left.count() > 0 && sd_bus_is_ready(made) == 0) {
        result = sd_bus_process(made, nullptr);
        if (result == 0) {
            result = sd_bus_wait(made, static_cast<std::uint64_t>(left.count()));
        }
        left = std::chrono::duration_cast<std::chrono::microseconds>(ends - steady_clock::now());
    }
    return sd_bus_is_ready(made) > 0;
}
