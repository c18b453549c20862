#include "Foundation/NSException.h"
#include "Foundation/NSPropertyList.h"
#include "support/PrivateBus.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <thread>

namespace {

const std::string tool = TOOLS_DIRECTORY "/system_profiler";

struct Output {
    int status;
    std::string text;
};

/// What a shell says: a tool is judged by what others see of it.
Output shell(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    std::array<char, 4096> buffer{};
    while (const auto length = fread(buffer.data(), 1, buffer.size(), pipe)) {
        text.append(buffer.data(), length);
    }
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, text};
}

using Interfaces = std::map<std::string, std::pair<std::string, std::string>>;

/// The addresses and names in a report, by interface.
Interfaces interfacesIn(const std::string& report) {
    Interfaces found;
    const PropertyList list = propertyListFromData(report);
    const NSDictionary& first = *list.array()->at(0).dictionary();
    EXPECT_EQ(*first.objectForKey("_dataType")->string(), "SPNetworkDataType");
    for (const auto& item : *first.objectForKey("_items")->array()) {
        const NSDictionary& entry = *item.dictionary();
        const NSDictionary& ethernet = *entry.objectForKey("Ethernet")->dictionary();
        found[*entry.objectForKey("interface")->string()] = {
            *ethernet.objectForKey("MAC Address")->string(),
            *entry.objectForKey("_name")->string()};
    }
    return found;
}

/// The same from `ip`, without names.
std::map<std::string, std::string> addressesFromIP(const std::string& lines) {
    std::map<std::string, std::string> found;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        const auto name = line.find(": ") + 2;
        const auto address = line.find("link/ether ");
        if (address != std::string::npos) {
            found[line.substr(name, line.find_first_of(":@", name) - name)] =
                line.substr(address + 11, 17);
        }
    }
    return found;
}

/// Stands for NetworkManager on a bus, in a thread of its own.
class Manager {
public:
    Manager(const std::string& address, const std::string& interface, const std::string& name)
        : interface(interface), name(name) {
        sd_bus_new(&bus);
        sd_bus_set_address(bus, address.c_str());
        sd_bus_set_bus_client(bus, 1);
        EXPECT_GE(sd_bus_start(bus), 0);
        EXPECT_GE(sd_bus_add_object(bus, nullptr, "/org/freedesktop", answer, this), 0);
        EXPECT_GE(sd_bus_request_name(bus, "org.freedesktop.NetworkManager", 0), 0);
        thread = std::thread([this] {
            while (!ends && sd_bus_wait(bus, 10'000) >= 0) {
                while (sd_bus_process(bus, nullptr) > 0) {
                }
            }
        });
    }
    ~Manager() {
        ends = true;
        thread.join();
        sd_bus_flush_close_unref(bus);
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;

    std::atomic<bool> silent = false;

private:
    static int answer(sd_bus_message* call, void* userData, sd_bus_error*) {
        const auto& self = *static_cast<Manager*>(userData);
        if (self.silent) {
            return 1;
        }
        sd_bus_message* reply = nullptr;
        sd_bus_message_new_method_return(call, &reply);
        EXPECT_GE(sd_bus_message_append(
                      reply, "a{oa{sa{sv}}}", 3, "/connection/1", 1,
                      "org.freedesktop.NetworkManager.Connection.Active", 3, "Vpn", "b", 0, "Id",
                      "s", self.name.c_str(), "Devices", "ao", 2, "/device/7", "/device/8",
                      "/device/7", 2, "org.freedesktop.NetworkManager.Device.Wired", 1, "Speed",
                      "u", 1000U, "org.freedesktop.NetworkManager.Device", 2, "Mtu", "u", 1500U,
                      "Interface", "s", self.interface.c_str(), "/settings", 0),
                  0);
        sd_bus_send(nullptr, reply, nullptr);
        sd_bus_message_unref(reply);
        return 1;
    }
    std::string interface, name;
    sd_bus* bus = nullptr;
    std::atomic<bool> ends = false;
    std::thread thread;
};

TEST(SystemProfilerTest, ListsWhatTheMachineHasAndNothingElse) {
    std::string inside;
    if (shell("unshare -n true 2>&1").status == 0) {
        // A network of the test's own; its interfaces are of many kinds.
        inside = "ip link add b0 address 02:00:00:00:00:0a type bridge; "
                 "ip link add v0 type veth peer name v1; ip link add d0 type dummy; "
                 "ip link add t0 type ipip local 127.0.0.1; "
                 "ip link add $(printf \"n\\303\\274\") type ifb; "
                 "ip link add $(printf \"n\\001\\377\") type ifb; ";
    }
    const std::string command =
        inside + "ip -o link; echo ==; " + tool + " SPNetworkDataType -xml 2>&1";
    const Output output =
        inside.empty() ? shell(command) : shell("unshare -n sh -c '" + command + "' 2>/dev/null");
    ASSERT_EQ(output.status, 0);
    const auto border = output.text.find("==\n");
    const auto report = output.text.substr(border + 3);
    const auto found = interfacesIn(report);
    const auto expected = addressesFromIP(output.text.substr(0, border));
    EXPECT_EQ(found.size(), expected.size());
    for (const auto& [name, address] : expected) {
        if (name.find_first_of("\\\xff\xc3\x01") == std::string::npos) {
            ASSERT_TRUE(found.contains(name)) << name;
            EXPECT_EQ(found.at(name).first, address);
        }
    }
    for (const unsigned char byte : report) {
        ASSERT_LT(byte, 0x80);
    }
    if (inside.empty() || !expected.contains("b0")) {
        GTEST_SKIP() << "made-up interfaces need the right to make a network";
    }
    EXPECT_EQ(found.at("b0"), std::pair(std::string("02:00:00:00:00:0a"), std::string("Bridge")));
    EXPECT_EQ(found.at("v0").second, "Virtual Ethernet");
}

TEST(SystemProfilerTest, TakesTheNamesThatNetworkManagerHasAndDoesNotWaitForThem) {
    const auto interfaces = addressesFromIP(shell("ip -o link").text);
    if (interfaces.empty()) {
        GTEST_SKIP() << "there is no interface here to be named";
    }
    const std::string name = interfaces.begin()->first;
    const PrivateBus bus;
    const auto report = [&] {
        return interfacesIn(shell("DBUS_SYSTEM_BUS_ADDRESS=" + bus.address() + " " + tool +
                                  " SPNetworkDataType -xml")
                                .text);
    };
    EXPECT_NE(report().at(name).second, "Büro <1>");
    Manager manager(bus.address(), name, "Büro <1>");
    EXPECT_EQ(report().at(name).second, "Büro <1>");
    manager.silent = true;
    EXPECT_NE(report().at(name).second, "Büro <1>");
    bus.signal(SIGSTOP);
    EXPECT_EQ(report().size(), interfaces.size());
    bus.signal(SIGCONT);
}

TEST(SystemProfilerTest, SaysWhatItWasAskedForWrongly) {
    const struct {
        std::string arguments, text;
        int status;
    } cases[] = {
        {"SPNetworkDataType", "with -xml only", 1},
        {"-xml -detail", "unknown option \"-detail\"", 1},
        {"SPNetworkDataType -xml >/dev/full", "could not be written", 1},
        {"SPPowerDataType -xml", "<array/>", 0},
        {"SPPowerDataType SPNetworkDataType -xml", "MAC Address", 0},
        {"-xml", "MAC Address", 0},
        {"-listDataTypes", "SPNetworkDataType\n", 0},
        {"--help", "usage: system_profiler", 0},
    };
    for (const auto& each : cases) {
        const Output output = shell("(" + tool + " " + each.arguments + ") 2>&1");
        EXPECT_EQ(output.status, each.status) << each.arguments;
        EXPECT_NE(output.text.find(each.text), std::string::npos) << each.arguments << output.text;
    }
}

} // namespace
