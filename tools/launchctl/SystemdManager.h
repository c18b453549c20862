// systemd's user manager, spoken to over its bus: the calls that keeping jobs takes. Each is
// answered within seconds or raises.
#pragma once

#include "System/Clock.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;

class SystemdManager {
public:
    struct Unref {
        void operator()(sd_bus* bus) const;
        void operator()(sd_bus_message* message) const;
    };
    using Message = std::unique_ptr<sd_bus_message, Unref>;

    /// None when none answers within two seconds.
    static std::unique_ptr<SystemdManager> connect();

    /// A call of the manager that is to be filled with arguments.
    Message newCall(const char* member) const;
    /// Sends a call that has the manager start or stop something. The name of that work.
    std::string enqueue(Message request) const;
    /// The same for a call that takes a unit, and how to deal with work that is in its way.
    std::string enqueue(const char* member, const std::string& unit, const char* mode) const;
    /// What became of such work: "done", "failed", … Empty when it takes longer than the bound.
    std::string resultOf(const std::string& work, std::chrono::seconds bound);

    /// "active", "inactive", …; "inactive" for an unknown unit.
    std::string activeState(const std::string& unit) const;
    /// Whether the manager is about to stop or start it.
    bool hasPendingWork(const std::string& unit) const;
    /// A property of a service: of the 32-bit kinds, signed or not.
    std::int64_t number(const std::string& service, const char* property) const;
    /// Of the loaded units that match a pattern.
    std::vector<std::string> activeUnits(const std::string& pattern) const;
    /// Serves the bus until it holds; asked after whatever the manager says. False when it does not
    /// hold in time.
    bool waitUntil(const std::function<bool()>& holds, Clock::Duration bound);

private:
    using Bus = std::unique_ptr<sd_bus, Unref>;

    explicit SystemdManager(Bus bus) : bus(std::move(bus)) {}
    static std::unique_ptr<SystemdManager> connectTo(const std::string& address, bool isMessageBus);
    bool begin();
    Message call(Message request) const;
    Message property(const std::string& unit, const char* interface, const char* name) const;

    const Bus bus;
    std::map<std::string, std::string> results; // of the manager's work that is done
};
