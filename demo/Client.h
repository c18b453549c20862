// The demo client: a network client without a network. It answers for its status, follows the
// panel's notices and reads its settings, and writes down what it does.
#pragma once

#include "ClientOptions.h"
#include "Foundation/NSNotification.h"
#include "Foundation/NSTimer.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

/// Main thread only.
class Client : public std::enable_shared_from_this<Client> {
public:
    /// Reads the settings of the current machine's user; the options of the Preferences folder are
    /// read here and at each relaunch, and complete the given ones.
    explicit Client(ClientOptions given);

    /// Listens, and connects.
    void start();
    /// The clean end: disconnected, and everybody is told.
    void stop();

private:
    void observe(const std::string& name, void (Client::*action)());
    void connect();
    void disconnect();
    void relaunch();
    void answer();
    void showMenuBarIcon() { log("shows its menu-bar icon"); }
    void hideMenuBarIcon() { log("hides its menu-bar icon"); }
    void enableMaintenance() { log("takes maintenance requests"); }
    void disableMaintenance() { log("takes no maintenance requests"); }

    void readSettings();
    void setStatus(const std::string& text);
    void tell(const std::string& text);
    void log(const std::string& what);
    std::shared_ptr<NSTimer> after(double seconds, std::function<void()> action);

    const ClientOptions given;
    const std::string library; // the user's
    ClientOptions options;
    std::string status;
    std::shared_ptr<NSTimer> connecting, crash;
};
