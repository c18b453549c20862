#include "SystemdManager.h"

#include "Failure.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <systemd/sd-bus.h>

using namespace std::chrono_literals;

namespace {

constexpr const char* manager = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr std::chrono::microseconds answerBound = 4s;
/// How much longer systemd waits for a service's end than its program waits for the job's.
constexpr std::chrono::seconds endMargin = 5s;

struct Unref {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, Unref>;

struct BusError {
    BusError() = default;
    ~BusError() { sd_bus_error_free(&error); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    sd_bus_error error{};
};

int check(int result) {
    if (result < 0) {
        fail("systemd's user manager does not answer as it should: %@", std::strerror(-result));
    }
    return result;
}

Message newCall(sd_bus* bus, const char* path, const char* interface, const char* member) {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus, &message, manager, path, interface, member));
    // The bus must not start a manager where none runs.
    sd_bus_message_set_auto_start(message, 0);
    return Message(message);
}

/// A path as it is spelled in a bus address.
std::string escaped(const std::string& path) {
    std::string text;
    for (const unsigned char byte : path) {
        text += std::isalnum(byte) != 0 || std::strchr("-_/.", byte) != nullptr
                    ? std::string(1, static_cast<char>(byte))
                    : stringWithFormat("%%%02x", byte);
    }
    return text;
}

/// Whether nobody is there to answer, or nobody that this user may ask.
bool isAbsence(int error) {
    constexpr std::array errors{ENOENT, ECONNREFUSED, ENOTDIR, EACCES, EPERM, ENXIO, EHOSTUNREACH};
    return std::find(errors.begin(), errors.end(), -error) != errors.end();
}

/// Joins the bus in bounded time; the library by itself would wait much longer.
int join(sd_bus* bus) {
    auto& clock = Machine::current().clock();
    const auto deadline = clock.now() + answerBound;
    int result = sd_bus_start(bus);
    while (result >= 0 && sd_bus_is_ready(bus) == 0) {
        const auto left = std::chrono::ceil<std::chrono::microseconds>(deadline - clock.now());
        if (left <= 0us) {
            return -ETIMEDOUT;
        }
        result = sd_bus_process(bus, nullptr);
        if (result == 0) {
            result = sd_bus_wait(bus, static_cast<std::uint64_t>(left.count()));
        }
    }
    return result;
}

/// The properties of a unit that is to be made. A message that lacks memory for one says so when it
/// is sent.
class Properties {
public:
    explicit Properties(sd_bus_message* message) : message(message) {
        sd_bus_message_open_container(message, 'a', "(sv)");
    }
    ~Properties() { sd_bus_message_close_container(message); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    template <class... Values>
    void add(const char* name, const char* type, Values... values) {
        sd_bus_message_append(message, "(sv)", name, type, values...);
    }
    void add(const char* name, const std::vector<std::string>& texts) {
        open(name, "as");
        addTexts(texts);
        close();
    }
    void addCommand(const std::vector<std::string>& command) {
        open("ExecStartEx", "a(sasas)");
        sd_bus_message_open_container(message, 'a', "(sasas)");
        sd_bus_message_open_container(message, 'r', "sasas");
        sd_bus_message_append(message, "s", command.front().c_str());
        addTexts(command);
        // An argument is meant as it stands, dollar signs too.
        addTexts({"no-env-expand"});
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
        close();
    }

private:
    void open(const char* name, const char* type) {
        sd_bus_message_open_container(message, 'r', "sv");
        sd_bus_message_append(message, "s", name);
        sd_bus_message_open_container(message, 'v', type);
    }
    void close() {
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
    }
    void addTexts(const std::vector<std::string>& texts) {
        sd_bus_message_open_container(message, 'a', "s");
        for (const auto& text : texts) {
            sd_bus_message_append(message, "s", text.c_str());
        }
        sd_bus_message_close_container(message);
    }

    sd_bus_message* message;
};

/// A name that no other unit has, not even one of the same job that is still ending.
std::string newUnit(const std::string& name) {
    const auto time = Machine::current().clock().now().time_since_epoch().count();
    return stringWithFormat("%@:%lx.%d.service", name, time, getpid());
}

} // namespace

// Without a flush: a manager that does not answer must not hold up the end either.
void SystemdManager::Close::operator()(sd_bus* connection) const { sd_bus_close_unref(connection); }

std::unique_ptr<SystemdManager> SystemdManager::connect() {
    // The manager has a socket of its own, also in a login without a message bus.
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) {
        const auto path = std::string(runtime) + "/systemd/private";
        if (auto found = connectTo("unix:path=" + escaped(path), false)) {
            return found;
        }
    }
    const auto address = Machine::current().sessionBusAddress();
    return address.empty() ? nullptr : connectTo(address, true);
}

std::unique_ptr<SystemdManager> SystemdManager::connectTo(const std::string& address,
                                                          bool isMessageBus) {
    sd_bus* connection = nullptr;
    check(sd_bus_new(&connection));
    Bus bus(connection);
    if (sd_bus_set_address(connection, address.c_str()) < 0) {
        return nullptr;
    }
    check(sd_bus_set_bus_client(connection, isMessageBus ? 1 : 0));
    check(sd_bus_set_method_call_timeout(connection, answerBound.count()));
    int result = join(connection);
    if (result >= 0) {
        const auto ping = newCall(connection, "/", "org.freedesktop.DBus.Peer", "Ping");
        result = sd_bus_call(connection, ping.get(), 0, nullptr, nullptr);
    }
    if (isAbsence(result)) {
        return nullptr;
    }
    check(result);
    return std::unique_ptr<SystemdManager>(new SystemdManager(std::move(bus)));
}

void SystemdManager::startService(const Service& service) {
    const auto call = newCall(bus.get(), managerPath, managerInterface, "StartTransientUnit");
    sd_bus_message_append(call.get(), "ss", newUnit(service.name).c_str(), "fail");
    {
        Properties properties(call.get());
        properties.add("Description", "s", service.description.c_str());
        properties.addCommand(service.command);
        properties.add("Environment", service.environment);
        properties.add("StandardOutputFileDescriptor", "h", service.output);
        // The program ends what it keeps in its own order, before what is left is killed.
        properties.add("KillMode", "s", "mixed");
        const std::chrono::microseconds patience = service.exitTimeOut + endMargin;
        properties.add("TimeoutStopUSec", "t", static_cast<std::uint64_t>(patience.count()));
        properties.add("CollectMode", "s", "inactive-or-failed");
    }
    sd_bus_message_append(call.get(), "a(sa(sv))", 0);
    BusError error;
    const int result = sd_bus_call(bus.get(), call.get(), 0, &error.error, nullptr);
    if (result < 0) {
        fail("systemd's user manager does not start %@: %@", service.description,
             error.error.message != nullptr ? error.error.message : std::strerror(-result));
    }
}
