#include "SystemdManager.h"

#include "Failure.h"
#include "Foundation/NSString.h"
#include "System/Machine.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <systemd/sd-bus.h>

using namespace std::chrono_literals;

namespace {

constexpr const char* service = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr const char* unitInterface = "org.freedesktop.systemd1.Unit";
constexpr std::chrono::microseconds connectBound = 2s;
constexpr std::chrono::microseconds answerBound = 4s;

struct BusError {
    BusError() = default;
    ~BusError() { sd_bus_error_free(&error); }
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    sd_bus_error error{};
};

std::string objectPath(const std::string& unit) {
    char* path = nullptr;
    if (sd_bus_path_encode("/org/freedesktop/systemd1/unit", unit.c_str(), &path) < 0) {
        throw std::bad_alloc();
    }
    std::string result(path);
    std::free(path);
    return result;
}

int noteResult(sd_bus_message* signal, void* results, sd_bus_error* /*error*/) {
    std::uint32_t number = 0;
    const char *work = nullptr, *unit = nullptr, *result = nullptr;
    if (sd_bus_message_read(signal, "uoss", &number, &work, &unit, &result) > 0) {
        (*static_cast<std::map<std::string, std::string>*>(results))[work] = result;
    }
    return 0;
}

/// As the value of a key of a bus address.
std::string escaped(const std::string& path) {
    std::string text;
    for (const unsigned char byte : path) {
        text += std::isalnum(byte) != 0 || std::strchr("-_/.", byte) != nullptr
                    ? std::string(1, static_cast<char>(byte))
                    : stringWithFormat("%%%02x", byte);
    }
    return text;
}

int check(int result, const char* doing) {
    if (result < 0) {
        fail("Cannot %@ systemd's user manager: %@", doing, std::strerror(-result));
    }
    return result;
}

} // namespace

// Without a flush: a manager that does not answer must not hold up the end either.
void SystemdManager::Unref::operator()(sd_bus* connection) const { sd_bus_close_unref(connection); }
void SystemdManager::Unref::operator()(sd_bus_message* message) const {
    sd_bus_message_unref(message);
}

std::unique_ptr<SystemdManager> SystemdManager::connect() {
    // The manager has a socket of its own, also in a login without a message bus.
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR")) {
        const auto path = std::string(runtime) + "/systemd/private";
        if (auto manager = connectTo("unix:path=" + escaped(path), false)) {
            return manager;
        }
    }
    const auto address = Machine::current().sessionBusAddress();
    return address.empty() ? nullptr : connectTo(address, true);
}

std::unique_ptr<SystemdManager> SystemdManager::connectTo(const std::string& address,
                                                          bool isMessageBus) {
    sd_bus* connection = nullptr;
    if (sd_bus_new(&connection) < 0) {
        return nullptr;
    }
    std::unique_ptr<SystemdManager> manager(new SystemdManager(Bus(connection)));
    if (sd_bus_set_address(connection, address.c_str()) < 0 ||
        sd_bus_set_bus_client(connection, isMessageBus ? 1 : 0) < 0 ||
        sd_bus_set_method_call_timeout(connection, connectBound.count()) < 0 ||
        sd_bus_start(connection) < 0 || !manager->begin()) {
        return nullptr;
    }
    sd_bus_set_method_call_timeout(connection, answerBound.count());
    return manager;
}

bool SystemdManager::begin() {
    try {
        return waitUntil([this] { return sd_bus_is_ready(bus.get()) > 0; }, 2s) &&
               sd_bus_match_signal(bus.get(), nullptr, nullptr, managerPath, managerInterface,
                                   "JobRemoved", noteResult, &results) >= 0 &&
               call(newCall("Subscribe")) != nullptr;
    } catch (const NSException&) { // then there is none
        return false;
    }
}

SystemdManager::Message SystemdManager::newCall(const char* member) const {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus.get(), &message, service, managerPath,
                                         managerInterface, member),
          "call");
    // The bus must not start a manager where none runs.
    sd_bus_message_set_auto_start(message, 0);
    return Message(message);
}

SystemdManager::Message SystemdManager::call(Message request) const {
    BusError error;
    sd_bus_message* reply = nullptr;
    if (sd_bus_call(bus.get(), request.get(), 0, &error.error, &reply) < 0) {
        throw NSException(error.error.name, error.error.message);
    }
    return Message(reply);
}

std::string SystemdManager::enqueue(Message request) const {
    const auto reply = call(std::move(request));
    const char* work = nullptr;
    check(sd_bus_message_read(reply.get(), "o", &work), "understand");
    return work;
}

std::string SystemdManager::enqueue(const char* member, const std::string& unit,
                                    const char* mode) const {
    auto request = newCall(member);
    check(sd_bus_message_append(request.get(), "ss", unit.c_str(), mode), "call");
    return enqueue(std::move(request));
}

std::string SystemdManager::resultOf(const std::string& work, std::chrono::seconds bound) {
    waitUntil([&] { return results.contains(work); }, bound);
    return results[work];
}

SystemdManager::Message SystemdManager::property(const std::string& unit, const char* interface,
                                                 const char* name) const {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus.get(), &message, service, objectPath(unit).c_str(),
                                         "org.freedesktop.DBus.Properties", "Get"),
          "call");
    Message request(message);
    check(sd_bus_message_append(message, "ss", interface, name), "call");
    return call(std::move(request));
}

std::string SystemdManager::activeState(const std::string& unit) const {
    const auto reply = property(unit, unitInterface, "ActiveState");
    const char* state = nullptr;
    check(sd_bus_message_read(reply.get(), "v", "s", &state), "understand");
    return state;
}

bool SystemdManager::hasPendingWork(const std::string& unit) const {
    const auto reply = property(unit, unitInterface, "Job");
    std::uint32_t number = 0;
    const char* path = nullptr;
    check(sd_bus_message_read(reply.get(), "v", "(uo)", &number, &path), "understand");
    return number != 0;
}

std::int64_t SystemdManager::number(const std::string& unit, const char* name) const {
    const auto reply = property(unit, "org.freedesktop.systemd1.Service", name);
    char type = 0;
    const char* content = nullptr;
    check(sd_bus_message_peek_type(reply.get(), &type, &content), "understand");
    std::int32_t number = 0; // of either sign: process numbers leave the highest bit alone
    check(sd_bus_message_read(reply.get(), "v", content, &number), "understand");
    return number;
}

std::vector<std::string> SystemdManager::activeUnits(const std::string& pattern) const {
    auto request = newCall("ListUnitsByPatterns");
    check(sd_bus_message_append(request.get(), "asas", 1, "active", 1, pattern.c_str()), "call");
    const auto reply = call(std::move(request));
    check(sd_bus_message_enter_container(reply.get(), 'a', "(ssssssouso)"), "understand");
    std::vector<std::string> units;
    const char* unit = nullptr;
    while (check(sd_bus_message_enter_container(reply.get(), 'r', "ssssssouso"), "understand") >
           0) {
        check(sd_bus_message_read(reply.get(), "s", &unit), "understand");
        check(sd_bus_message_skip(reply.get(), "sssssouso"), "understand");
        check(sd_bus_message_exit_container(reply.get()), "understand");
        units.emplace_back(unit);
    }
    return units;
}

bool SystemdManager::waitUntil(const std::function<bool()>& holds, Clock::Duration bound) {
    auto& clock = Machine::current().clock();
    const auto deadline = clock.now() + bound;
    while (!holds()) {
        const int worked = check(sd_bus_process(bus.get(), nullptr), "reach");
        const auto left =
            std::chrono::ceil<std::chrono::microseconds>(deadline - clock.now()).count();
        if (worked == 0 && left <= 0) {
            return false;
        }
        if (worked == 0) {
            check(sd_bus_wait(bus.get(), static_cast<std::uint64_t>(left)), "reach");
        }
    }
    return true;
}
