#include "host/Toolkit.h"

#include "AppKit/NSApplication.h"
#include "AppKit/Translation.h"
#include "System/BusAnswer.h"
#include "System/Machine.h"

#include <cstdlib>
#include <optional>
#include <QAccessible>

namespace {

constexpr std::chrono::seconds patience(2);
constexpr const char* variable = "DBUS_SESSION_BUS_ADDRESS";

/// While one lives, there is no session bus if that one hangs: the toolkit's library would wait for
/// its greeting for ever. What we and our programs have to do with the bus can wait.
class HangingBusHidden {
public:
    HangingBusHidden() {
        const auto address = Machine::current().sessionBusAddress();
        if (!address.empty() && !busAnswers(address, patience)) {
            restored = address;
            setenv(variable, "disabled:", 1);
        }
    }
    ~HangingBusHidden() {
        if (restored) {
            setenv(variable, restored->c_str(), 1);
        }
    }
    HangingBusHidden(const HangingBusHidden&) = delete;
    HangingBusHidden& operator=(const HangingBusHidden&) = delete;

private:
    std::optional<std::string> restored;
};

} // namespace

void startToolkit(const std::vector<std::string>& options) {
    const HangingBusHidden hidden;
    NSApplication::sharedApplication(options);
    installTranslation("Preferences", ":/");
    QAccessible::isActive(); // joins the bus, now or never
}
