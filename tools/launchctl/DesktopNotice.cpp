#include "DesktopNotice.h"

#include "Failure.h"
#include "System/Machine.h"

#include <csignal>
#include <cstdlib>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

constexpr unsigned patience = 30; // seconds
/// Of the desktop file, and the name under which its window is on the bus.
constexpr const char* application = "com.quorvane.Tessaline";

sd_bus* openSessionBus() {
    const auto address = Machine::current().sessionBusAddress();
    sd_bus* bus = nullptr;
    return sd_bus_new(&bus) >= 0 && sd_bus_set_address(bus, address.c_str()) >= 0 &&
                   sd_bus_set_bus_client(bus, 1) >= 0 && sd_bus_start(bus) >= 0
               ? bus
               : nullptr;
}

void notify(const std::string& summary, const std::string& body) {
    auto* const bus = openSessionBus();
    if (bus == nullptr || sd_bus_get_name_creds(bus, application, 0, nullptr) >= 0) {
        return;
    }
    sd_bus_call_method(bus, "org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                       "org.freedesktop.Notifications", "Notify", nullptr, nullptr, "susssasa{sv}i",
                       sentence("Network Client").c_str(), 0U, application, summary.c_str(),
                       body.c_str(), 0, 1, "desktop-entry", "s", application, -1);
}

} // namespace

void showOnDesktop(const std::string& summary, const std::string& body) {
    if (fork() == 0) {
        // The caller's signals are not this one's, which must end also where the bus is stuck.
        sigset_t none;
        sigemptyset(&none);
        sigprocmask(SIG_SETMASK, &none, nullptr);
        alarm(patience);
        notify(summary, body);
        _exit(EXIT_SUCCESS);
    }
}
