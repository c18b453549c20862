#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSRunLoop.h"
#include "support/PrivateBus.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <csignal>

namespace {

using namespace std::chrono_literals;
using Texts = std::vector<std::string>;

/// The real client in a sandbox on a real bus, heard as the panel hears it.
class ClientTest : public RealTimeMachineTest {
protected:
    ClientTest() {
        machine->busAddress = bus.address();
        machine->user = Machine().userName();
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        const auto applications = directory.path() + "/Applications";
        std::filesystem::create_directories(applications);
        std::filesystem::create_directories(library() + "/Preferences");
        std::filesystem::copy(BINARY_DIRECTORY "/demo/Tolvin.app", applications + "/Tolvin.app",
                              std::filesystem::copy_options::recursive);
        centre.addObserver(observer, "QVTolvinStatusUpdate", [this](const NSNotification& update) {
            heard.push_back(update.userInfoString("status").value_or("none"));
        });
        centre.addObserver(observer, "ready", [this](const NSNotification&) { ready = true; });
        centre.postNotificationName("ready");
        run([this] { return ready; }); // the bus knows whom to tell
    }
    ~ClientTest() override {
        if (client && client->isRunning()) {
            client->signal(SIGKILL);
            client->waitUntilExit();
        }
        client = nullptr;
        observer = nullptr;
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        machine->busAddress.clear();
        centre.reset();
    }

    std::string library() const { return machine->homeDirectory() + "/Library"; }
    void write(const std::string& name, const NSDictionary& settings) {
        ASSERT_TRUE(writeDictionaryToFile(settings, library() + "/Preferences/" + name));
    }
    void start() {
        client = machine->launch(
            {.launchPath = directory.path() + "/Applications/Tolvin.app/Contents/MacOS/Tolvin"});
    }
    void post(const std::string& name) { centre.postNotificationName(name); }
    bool run(const std::function<bool()>& until) {
        return NSRunLoop::mainRunLoop().runUntil(until, clock->now() + 30s);
    }
    /// What has been heard up to the next `text`.
    Texts until(const std::string& text) {
        EXPECT_TRUE(run([&] { return std::count(heard.begin(), heard.end(), text) > 0; })) << text;
        return std::exchange(heard, {});
    }

    PrivateBus bus;
    NSDistributedNotificationCenter& centre = NSDistributedNotificationCenter::defaultCenter();
    std::shared_ptr<int> observer = std::make_shared<int>();
    std::unique_ptr<LaunchedProcess> client;
    Texts heard;
    bool ready = false;
};

TEST_F(ClientTest, LivesAsThePanelExpects) {
    start();
    EXPECT_EQ(until("Connected"), (Texts{"Connecting...", "Connected"}));
    // Frozen, it answers nothing; what it was asked meanwhile it answers afterwards.
    client->signal(SIGSTOP);
    post("QVTolvinMenuBarIconHide");
    post("QVTolvinDisconnect");
    client->signal(SIGCONT);
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});
    post("QVTolvinCurrentStatus");
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});

    write(
        "com.quorvane.Tolvin.plist",
        {{"selectedMACAddress", "02:00:00:00:00:0a"}, {"customPortSet", 1}, {"customPort", 4711}});
    post("QVTolvinRelaunch");
    EXPECT_EQ(until("Connected"), (Texts{"Relaunching...", "Connected"}));
    EXPECT_NE(contentsOfFile(library() + "/Logs/Tolvin.log")
                  .value_or("")
                  .find("uses the interface 02:00:00:00:00:0a and port 4711"),
              std::string::npos);

    client->signal(SIGTERM);
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});
    client->waitUntilExit();
    EXPECT_EQ(client->terminationStatus(), 0);
}

TEST_F(ClientTest, MisbehavesAsItIsAskedTo) {
    write("com.quorvane.Tolvin.demo.plist", {{"flood", 2}});
    start();
    until("Connected");
    post("QVTolvinCurrentStatus");
    EXPECT_EQ(until("Connected"), (Texts{"Busy, 1 of 2", "Busy, 2 of 2", "Connected"}));
    write("com.quorvane.Tolvin.demo.plist", {{"silent", true}, {"crashAfter", 0}});
    post("QVTolvinRelaunch");
    client->waitUntilExit();
    EXPECT_EQ(client->terminationStatus(), SIGABRT);
    EXPECT_EQ(heard, Texts{"Relaunching..."});
}

} // namespace
