#include "Client.h"

#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "System/Machine.h"

#include <cstdlib>
#include <fstream>
#include <sys/prctl.h>
#include <unistd.h>

namespace {

/// Seconds that it takes to connect to nothing: long enough for the status to show.
constexpr double connectingTime = 0.1;

NSDistributedNotificationCenter& centre() {
    return NSDistributedNotificationCenter::defaultCenter();
}

} // namespace

Client::Client(ClientOptions given)
    : given(std::move(given)), library(Machine::current().homeDirectory() + "/Library") {
    NSFileManager::defaultManager().createDirectoryAtPath(library + "/Logs");
}

void Client::start() {
    log(stringWithFormat("starts as process %d", getpid()));
    readSettings();
    observe("QVTolvinCurrentStatus", &Client::answer);
    observe("QVTolvinDisconnect", &Client::disconnect);
    observe("QVTolvinRelaunch", &Client::relaunch);
    observe("QVTolvinMenuBarIconShow", &Client::showMenuBarIcon);
    observe("QVTolvinMenuBarIconHide", &Client::hideMenuBarIcon);
    observe("QVTolvinMaintenanceEnable", &Client::enableMaintenance);
    observe("QVTolvinMaintenanceDisable", &Client::disableMaintenance);
    setStatus("Connecting...");
    connect();
}

void Client::stop() {
    options.slow = 0; // there is no later
    disconnect();
    log("ends");
}

void Client::observe(const std::string& name, void (Client::*action)()) {
    centre().addObserver(shared_from_this(), name,
                         [this, action](const NSNotification&) { (this->*action)(); });
}

void Client::connect() {
    connecting = after(connectingTime, [this] { setStatus("Connected"); });
}

/// Stays so until it is relaunched: whoever disconnects a client goes on to end it.
void Client::disconnect() {
    if (connecting) {
        connecting->invalidate();
    }
    setStatus("Disconnected");
}

void Client::relaunch() {
    if (connecting) {
        connecting->invalidate();
    }
    setStatus("Relaunching...");
    readSettings();
    connect();
}

void Client::answer() {
    for (long index = 1; index <= options.flood; ++index) {
        tell(stringWithFormat("Busy, %ld of %ld", index, options.flood));
    }
    tell(status);
}

void Client::readSettings() {
    const auto settings =
        dictionaryWithContentsOfFile(library + "/Preferences/com.quorvane.Tolvin.plist")
            .value_or(NSDictionary());
    const auto address = settings.stringForKey("selectedMACAddress");
    const PropertyList* portSet = settings.objectForKey("customPortSet");
    const PropertyList* port = settings.objectForKey("customPort");
    log(stringWithFormat("uses %@ and %@", address ? "the interface " + *address : "any interface",
                         portSet && portSet->integer() == 1 && port && port->integer()
                             ? stringWithFormat("port %ld", *port->integer())
                             : "its own port"));

    options = given.completedFromFile(library + "/Preferences/com.quorvane.Tolvin.demo.plist");
    if (options.crashAfter && !crash) {
        crash = after(*options.crashAfter, [this] {
            log("crashes, as it was asked to");
            prctl(PR_SET_DUMPABLE, 0); // nobody needs to look into why
            std::abort();
        });
    }
}

void Client::setStatus(const std::string& text) {
    status = text;
    log("is now: " + text);
    tell(text);
}

void Client::tell(const std::string& text) {
    const NSNotification update{.name = "QVTolvinStatusUpdate",
                                .object = std::nullopt,
                                .userInfo = NSDictionary{{"status", text}}};
    if (options.silent) {
        return;
    }
    if (options.slow > 0) {
        after(options.slow, [update] { centre().postNotification(update); });
    } else {
        centre().postNotification(update);
    }
}

void Client::log(const std::string& what) {
    NSLog("Tolvin %@", what);
    std::ofstream(library + "/Logs/Tolvin.log", std::ios::app) << "Tolvin " << what << std::endl;
}

std::shared_ptr<NSTimer> Client::after(double seconds, std::function<void()> action) {
    return NSTimer::scheduledTimer(seconds, weak_from_this(), std::move(action), false);
}
