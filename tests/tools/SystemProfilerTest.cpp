#include "Foundation/NSPropertyList.h"
#include "support/PrivateBus.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <thread>

namespace {

const std::string tool = TOOLS_DIRECTORY "/system_profiler ";

/// What a shell says, after its exit status: a tool is judged by what others see of it.
std::pair<int, std::string> shell(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string text;
    for (int byte = 0; (byte = std::getc(pipe)) != EOF;) {
        text += static_cast<char>(byte);
    }
    return {WEXITSTATUS(pclose(pipe)), text};
}

/// The addresses and names in a report, by interface.
std::map<std::string, std::pair<std::string, std::string>> interfacesIn(const std::string& report) {
    std::map<std::string, std::pair<std::string, std::string>> found;
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

/// A network of the test's own.
class SystemProfilerTest : public testing::Test {
protected:
    void SetUp() override {
        if (shell("unshare -n ip link add b0 type bridge 2>&1").first != 0) {
            GTEST_SKIP() << "needs the right to make a network";
        }
        std::ofstream(directory.path() + "/report")
            << "ip link add b0 address 02:00:00:00:00:0a type bridge\n"
               "ip link add v0 address 02:00:00:00:00:0b type veth peer name v1\n"
               "ip link add t0 type ipip local 127.0.0.1\n"
               "ip link add $(printf 'n\303\274') type ifb\n"
               "ip link add $(printf 'n\001\377') type ifb\n"
               "DBUS_SYSTEM_BUS_ADDRESS=$1 "
            << tool << "SPNetworkDataType -xml";
    }
    std::string report() const {
        return shell("unshare -n sh " + directory.path() + "/report " + bus.address() +
                     " 2>/dev/null")
            .second;
    }
    std::string nameOfBridge() const { return interfacesIn(report())["b0"].second; }

    const TemporaryDirectory directory;
    const PrivateBus bus;
};

/// NetworkManager's answer when it is asked for what it manages: one connection, for b0.
int answer(sd_bus_message* call, void*, sd_bus_error*) {
    sd_bus_message* reply = nullptr;
    sd_bus_message_new_method_return(call, &reply);
    EXPECT_GE(sd_bus_message_append(reply, "a{oa{sa{sv}}}", 3, "/connection/1", 1,
                                    "org.freedesktop.NetworkManager.Connection.Active", 3, "Vpn",
                                    "b", 0, "Id", "s", "Büro <1>", "Devices", "ao", 2, "/device/7",
                                    "/device/8", "/device/7", 2,
                                    "org.freedesktop.NetworkManager.Device.Wired", 1, "Speed", "u",
                                    1000U, "org.freedesktop.NetworkManager.Device", 2, "Mtu", "u",
                                    1500U, "Interface", "s", "b0", "/settings", 0),
              0);
    sd_bus_send(nullptr, reply, nullptr);
    sd_bus_message_unref(reply);
    return 1;
}

TEST_F(SystemProfilerTest, ListsWhatTheMachineHasAndNothingElse) {
    const auto text = report();
    EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; })) << text;
    const auto found = interfacesIn(text);
    std::string all;
    for (const auto& [interface, entry] : found) {
        // What is not set above comes from chance.
        all += interface + (entry.first.starts_with("02:00:00:00:00:") ? " " + entry.first : "") +
               " " + entry.second + "|";
    }
    EXPECT_EQ(all, "b0 02:00:00:00:00:0a Bridge|n?? Virtual|nü Virtual|v0 02:00:00:00:00:0b "
                   "Virtual Ethernet|v1 Virtual Ethernet|");
}

TEST_F(SystemProfilerTest, TakesTheNamesThatNetworkManagerHasAndDoesNotWaitForThem) {
    EXPECT_EQ(nameOfBridge(), "Bridge");
    sd_bus* connection = nullptr;
    sd_bus_new(&connection);
    sd_bus_set_address(connection, bus.address().c_str());
    sd_bus_set_bus_client(connection, 1);
    ASSERT_GE(sd_bus_start(connection), 0);
    sd_bus_add_object(connection, nullptr, "/org/freedesktop", answer, nullptr);
    ASSERT_GE(sd_bus_request_name(connection, "org.freedesktop.NetworkManager", 0), 0);
    EXPECT_EQ(nameOfBridge(), "Bridge") << "it is there, but says nothing";
    {
        const std::jthread answering([&](const std::stop_token& stop) {
            while (!stop.stop_requested() && sd_bus_wait(connection, 10'000) >= 0) {
                while (sd_bus_process(connection, nullptr) > 0) {
                }
            }
        });
        EXPECT_EQ(nameOfBridge(), "Büro <1>");
    }
    bus.signal(SIGSTOP);
    EXPECT_EQ(nameOfBridge(), "Bridge");
    bus.signal(SIGCONT);
    sd_bus_flush_close_unref(connection);
}

TEST(SystemProfiler, SaysWhatItWasAskedForWrongly) {
    const struct {
        std::string arguments, text;
        int status;
    } cases[] = {
        {"SPNetworkDataType", "with -xml only", 1},
        {"-xml -detail", "unknown option \"-detail\"", 1},
        {"SPNetworkDataType -xml >/dev/full", "could not be written", 1},
        {"SPPowerDataType -xml", "<array/>", 0},
        {"-xml", "SPNetworkDataType", 0},
        {"-listDataTypes", "SPNetworkDataType\n", 0},
    };
    for (const auto& each : cases) {
        const auto [status, text] = shell("(" + tool + each.arguments + ") 2>&1");
        EXPECT_EQ(status, each.status) << each.arguments;
        EXPECT_NE(text.find(each.text), std::string::npos) << each.arguments << text;
    }
}

} // namespace
