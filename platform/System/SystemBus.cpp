#include "System/SystemBus.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <systemd/sd-bus.h>

namespace {

constexpr std::uint64_t patience = 5'000'000; // microseconds

struct Close {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
struct Free {
    void operator()(char** names) const {
        for (char** name = names; *name != nullptr; ++name) {
            std::free(*name);
        }
        std::free(names);
    }
};

bool contains(char** names, std::string_view wanted) {
    while (*names != nullptr && *names != wanted) {
        ++names;
    }
    return *names != nullptr;
}

} // namespace

bool systemBusHas(const std::string& service) {
    sd_bus* opened = nullptr;
    if (sd_bus_open_system(&opened) < 0) {
        return false;
    }
    const std::unique_ptr<sd_bus, Close> bus(opened);
    sd_bus_set_method_call_timeout(bus.get(), patience);
    char **running = nullptr, **startable = nullptr;
    if (sd_bus_list_names(bus.get(), &running, &startable) < 0) {
        return false;
    }
    const std::unique_ptr<char*, Free> first(running), second(startable);
    return contains(running, service) || contains(startable, service);
}
