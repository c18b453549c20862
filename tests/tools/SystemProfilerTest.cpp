#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "support/PrivateBus.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
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

const std::string reportBefore = "({_dataType=SPNetworkDataType;_items=({_name=\"";
const std::string reportAfter =
    R"(";interface=b0;type=Bridge;Ethernet={"MAC Address"="02:00:00:00:00:0a";};},
{_name=Virtual;interface="nü";type=Virtual;Ethernet={"MAC Address"="02:00:00:00:00:0c";};},
{_name=Virtual;interface="n??";type=Virtual;Ethernet={"MAC Address"="02:00:00:00:00:0d";};});}))";

/// A network of the test's own.
class SystemProfilerTest : public testing::Test {
protected:
    void SetUp() override {
        if (shell("unshare -n ip link add b0 type bridge 2>&1").first != 0) {
            GTEST_SKIP() << "needs the right to make a network";
        }
        std::ofstream(directory.path() + "/report")
            << "a='address 02:00:00:00:00:0'\n"
               "ip link add b0 ${a}a type bridge\n"
               "ip link add t0 type ipip local 127.0.0.1\n"
               "ip link add $(printf 'n\303\274') ${a}c type ifb\n"
               "ip link add $(printf 'n\001\377') ${a}d type ifb\n"
               "DBUS_SYSTEM_BUS_ADDRESS="
            << bus.address() << ' ' << tool << "SPNetworkDataType -xml";
    }
    void expectReport(const std::string& nameOfBridge) const {
        const auto text = shell("unshare -n sh " + directory.path() + "/report 2>/dev/null").second;
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](char byte) { return byte > 0; }));
        EXPECT_EQ(propertyListFromData(text),
                  propertyListFromData(reportBefore + nameOfBridge + reportAfter))
            << text;
    }

    const TemporaryDirectory directory;
    const PrivateBus bus;
};

/// NetworkManager's answer when it is asked for what it manages: one connection, for b0.
int answer(sd_bus_message* call, void*, sd_bus_error*) {
    return sd_bus_reply_method_return(call, "a{oa{sa{sv}}}", 3, "/connection/1", 1,
                                      "org.freedesktop.NetworkManager.Connection.Active", 3, "Vpn",
                                      "b", 0, "Id", "s", "Büro <1>", "Devices", "ao", 2,
                                      "/device/7", "/device/8", "/device/7", 2,
                                      "org.freedesktop.NetworkManager.Device.Wired", 1, "Speed",
                                      "u", 1000U, "org.freedesktop.NetworkManager.Device", 2, "Mtu",
                                      "u", 1500U, "Interface", "s", "b0", "/settings", 0);
}

TEST_F(SystemProfilerTest, ListsWhatHasAnAddressByTheNamesThatNetworkManagerHasAtOnce) {
    expectReport("Bridge");
    sd_bus* connection = nullptr;
    sd_bus_new(&connection);
    sd_bus_set_address(connection, bus.address().c_str());
    sd_bus_set_bus_client(connection, 1);
    ASSERT_GE(sd_bus_start(connection), 0);
    sd_bus_add_object(connection, nullptr, "/org/freedesktop", answer, nullptr);
    ASSERT_GE(sd_bus_request_name(connection, "org.freedesktop.NetworkManager", 0), 0);
    expectReport("Bridge"); // it is there, but says nothing
    {
        const std::jthread answering([&](const std::stop_token& stop) {
            while (!stop.stop_requested() && sd_bus_wait(connection, 10'000) >= 0) {
                while (sd_bus_process(connection, nullptr) > 0) {
                }
            }
        });
        expectReport("Büro <1>");
    }
    bus.signal(SIGSTOP);
    expectReport("Bridge");
    sd_bus_close_unref(connection);
}

TEST(SystemProfiler, SaysWhatItWasAskedForWrongly) {
    using Case = std::pair<std::string, std::string>;
    for (const auto& [arguments, text] :
         {Case{"SPNetworkDataType", "with -xml only"}, Case{"-xml -detail", "option \"-detail\""},
          Case{"SPNetworkDataType -xml >/dev/full", "could not be written"}}) {
        const auto said = shell(stringWithFormat("(%@ %@) 2>&1", tool, arguments));
        EXPECT_EQ(said.first, 1) << arguments;
        EXPECT_NE(said.second.find(text), text.npos) << arguments << said.second;
    }
    const auto other = shell(tool + "SPOtherDataType -xml").second;
    EXPECT_EQ(propertyListFromData(other), NSArray());
}

} // namespace
