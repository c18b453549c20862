#include "ConnectionNames.h"

#include "System/Machine.h"

#include <chrono>
#include <functional>
#include <systemd/sd-bus.h>
#include <vector>

using namespace std::chrono_literals;

namespace {

constexpr auto patience = 25ms;

/// What NetworkManager says of its objects, as far as it matters here.
struct Objects {
    std::map<std::string, std::string> interfaceOfDevice; // by object path
    std::map<std::string, std::string> nameOfDevice;
    bool answered = false;
};

/// Enters each element of an array of dictionary entries, reads its key, has `use` read the rest.
void forEachEntry(sd_bus_message* message, char keyType, const char* contents,
                  const std::function<void(const std::string& key)>& use) {
    const std::string entry = std::string("{") + contents + "}";
    if (sd_bus_message_enter_container(message, 'a', entry.c_str()) <= 0) {
        return;
    }
    while (sd_bus_message_enter_container(message, 'e', contents) > 0) {
        const char* key = nullptr;
        if (sd_bus_message_read_basic(message, keyType, &key) <= 0) {
            return;
        }
        use(key);
        sd_bus_message_exit_container(message);
    }
    sd_bus_message_exit_container(message);
}

std::string readText(sd_bus_message* message) {
    const char* text = nullptr;
    return sd_bus_message_read(message, "v", "s", &text) > 0 ? text : "";
}

std::vector<std::string> readPaths(sd_bus_message* message) {
    std::vector<std::string> paths;
    const char* path = nullptr;
    if (sd_bus_message_enter_container(message, 'v', "ao") > 0 &&
        sd_bus_message_enter_container(message, 'a', "o") > 0) {
        while (sd_bus_message_read_basic(message, 'o', &path) > 0) {
            paths.emplace_back(path);
        }
        sd_bus_message_exit_container(message);
        sd_bus_message_exit_container(message);
    }
    return paths;
}

void readDevice(sd_bus_message* message, const std::string& path, Objects& objects) {
    forEachEntry(message, 's', "sv", [&](const std::string& property) {
        if (property == "Interface") {
            objects.interfaceOfDevice[path] = readText(message);
        } else {
            sd_bus_message_skip(message, "v");
        }
    });
}

void readActiveConnection(sd_bus_message* message, Objects& objects) {
    std::string name;
    std::vector<std::string> devices;
    forEachEntry(message, 's', "sv", [&](const std::string& property) {
        if (property == "Id") {
            name = readText(message);
        } else if (property == "Devices") {
            devices = readPaths(message);
        } else {
            sd_bus_message_skip(message, "v");
        }
    });
    for (const auto& device : devices) {
        objects.nameOfDevice[device] = name;
    }
}

int readAnswer(sd_bus_message* message, void* userData, sd_bus_error*) {
    auto& objects = *static_cast<Objects*>(userData);
    objects.answered = true;
    if (sd_bus_message_is_method_error(message, nullptr)) {
        return 0;
    }
    forEachEntry(message, 'o', "oa{sa{sv}}", [&](const std::string& path) {
        forEachEntry(message, 's', "sa{sv}", [&](const std::string& interface) {
            if (interface == "org.freedesktop.NetworkManager.Device") {
                readDevice(message, path, objects);
            } else if (interface == "org.freedesktop.NetworkManager.Connection.Active") {
                readActiveConnection(message, objects);
            } else {
                sd_bus_message_skip(message, "a{sv}");
            }
        });
    });
    return 0;
}

bool ask(sd_bus* bus, Objects& objects) {
    sd_bus_message* request = nullptr;
    const bool asked = sd_bus_message_new_method_call(
                           bus, &request, "org.freedesktop.NetworkManager", "/org/freedesktop",
                           "org.freedesktop.DBus.ObjectManager", "GetManagedObjects") >= 0 &&
                       sd_bus_message_set_auto_start(request, 0) >= 0 &&
                       sd_bus_call_async(bus, nullptr, request, readAnswer, &objects, 0) >= 0;
    sd_bus_message_unref(request);
    return asked;
}

/// Unlike sd-bus's own waiting call, the whole of it is bounded: joining the bus, too.
void waitForAnswer(sd_bus* bus, const Objects& objects) {
    Clock& clock = Machine::current().clock();
    const auto deadline = clock.now() + patience;
    while (!objects.answered) {
        const int result = sd_bus_process(bus, nullptr);
        const auto left = deadline - clock.now();
        if (result < 0 || left <= 0ns) {
            return;
        }
        if (result == 0) {
            sd_bus_wait(bus, static_cast<std::uint64_t>(left / 1us));
        }
    }
}

} // namespace

std::map<std::string, std::string> connectionNames() {
    Objects objects;
    sd_bus* bus = nullptr;
    if (sd_bus_open_system(&bus) >= 0 && ask(bus, objects)) {
        waitForAnswer(bus, objects);
    }
    sd_bus_close_unref(bus);
    std::map<std::string, std::string> names;
    for (const auto& [device, name] : objects.nameOfDevice) {
        const auto interface = objects.interfaceOfDevice.find(device);
        if (interface != objects.interfaceOfDevice.end() && !name.empty()) {
            names[interface->second] = name;
        }
    }
    return names;
}
