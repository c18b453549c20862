// systemd's user manager, spoken to over its bus.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct sd_bus;

class SystemdManager {
public:
    struct Service {
        std::string name; // what its units have in common
        std::string description;
        std::vector<std::string> command; // the program, absolute, first
        std::vector<std::string> environment;
        std::chrono::seconds exitTimeOut; // that the program gives what it keeps
        int output;                       // becomes its standard output
    };

    /// None when there is none: no socket of it, or nobody behind it. Raises when there is one that
    /// does not answer within four seconds.
    static std::unique_ptr<SystemdManager> connect();

    /// Has it start a service that is forgotten when its program has ended. Returns once the
    /// manager has taken the order; raises when it does not within four seconds.
    void startService(const Service& service);

private:
    struct Close {
        void operator()(sd_bus* bus) const;
    };
    using Bus = std::unique_ptr<sd_bus, Close>;

    explicit SystemdManager(Bus bus) : bus(std::move(bus)) {}
    static std::unique_ptr<SystemdManager> connectTo(const std::string& address, bool isMessageBus);

    const Bus bus;
};
