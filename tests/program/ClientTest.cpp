#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPipe.h"
#include "Foundation/NSRunLoop.h"
#include "support/PrivateBus.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <csignal>
#include <fstream>

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
        std::filesystem::create_directories(library() + "/Preferences");
        std::filesystem::copy(BINARY_DIRECTORY "/demo/Tolvin.app", application,
                              std::filesystem::copy_options::recursive);
        centre.addObserver(observer, "QVTolvinStatusUpdate", [this](const NSNotification& update) {
            heard.push_back(update.userInfoString("status").value_or("none"));
        });
        centre.addObserver(observer, "ready", [this](const NSNotification&) { ready = true; });
        centre.postNotificationName("ready");
        run([this] { return ready; }); // the bus knows whom to tell
    }
    ~ClientTest() override {
        for (const auto* process : {&client, &window}) {
            if (*process && (*process)->isRunning()) {
                (*process)->signal(SIGKILL);
                (*process)->waitUntilExit();
            }
        }
        observer = nullptr;
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        machine->busAddress.clear();
        centre.reset();
    }

    std::string library() const { return machine->homeDirectory() + "/Library"; }
    std::string settingsPath() const {
        return library() + "/Preferences/com.quorvane.Tolvin.plist";
    }
    void startClient() {
        client = machine->launch({.launchPath = application + "/Contents/MacOS/Tolvin"});
    }
    void endClient(int signal) {
        client->signal(signal);
        client->waitUntilExit();
    }
    void post(const std::string& name) { centre.postNotificationName(name); }
    void postStatus(const std::string& text) {
        centre.postNotification(
            {.name = "QVTolvinStatusUpdate", .userInfo = NSDictionary{{"status", text}}});
    }
    bool run(const std::function<bool()>& until) {
        return NSRunLoop::mainRunLoop().runUntil(until, clock->now() + 60s);
    }
    /// What has been heard up to the next `text`.
    Texts until(const std::string& text) {
        EXPECT_TRUE(run([&] { return std::count(heard.begin(), heard.end(), text) > 0; })) << text;
        return std::exchange(heard, {});
    }

    /// Opens the real window with the real pane; a job file and an interface are there.
    void openWindow() {
        const auto profiler = machine->root() + "/usr/sbin/system_profiler";
        std::filesystem::create_directories(machine->root() + "/Library/LaunchAgents");
        std::filesystem::create_directories(machine->root() + "/usr/sbin");
        writeDictionaryToFile({},
                              machine->root() + "/Library/LaunchAgents/com.quorvane.Tolvin.plist");
        std::ofstream(profiler) << "#!/bin/sh\necho '({_dataType=SPNetworkDataType;_items=({_name="
                                   "Port;Ethernet={\"MAC Address\"=\"02:00:00:00:00:0a\";};});})'";
        std::filesystem::permissions(profiler, std::filesystem::perms(0755));
        window =
            machine->launch({.launchPath = BINARY_DIRECTORY "/bin/Preferences",
                             .arguments = {"--root", machine->root(), "--script", "-",
                                           BINARY_DIRECTORY "/Tessaline.prefPane"},
                             .standardInput = script.fileHandleForReading()->fileDescriptor(),
                             .standardOutput = output.fileHandleForWriting()->fileDescriptor()});
        output.fileHandleForWriting()->closeFile();
    }
    /// What the window prints for some commands and, behind it, the switch's state.
    std::string ask(const std::string& commands) {
        const std::string end = "masterSwitch = ";
        script.fileHandleForWriting()->writeData(commands + "\nshow masterSwitch\n");
        for (std::string answer;;) {
            const auto bytes = output.fileHandleForReading()->availableData();
            answer.append(bytes.begin(), bytes.end());
            if (const auto found = answer.find(end);
                bytes.empty() || (found != answer.npos && answer.back() == '\n')) {
                return found == answer.npos ? "no answer" : answer.erase(found, end.size());
            }
        }
    }
    std::string waitFor(const std::string& status) {
        return ask("wait statusLabel \"Status: " + status + "\" 60");
    }

    PrivateBus bus;
    NSDistributedNotificationCenter& centre = NSDistributedNotificationCenter::defaultCenter();
    std::shared_ptr<int> observer = std::make_shared<int>();
    const std::string application = machine->root() + "/Applications/Tolvin.app";
    NSPipe script, output;
    std::unique_ptr<LaunchedProcess> client, window;
    Texts heard;
    bool ready = false;
};

TEST_F(ClientTest, LivesAsThePanelExpects) {
    startClient();
    EXPECT_EQ(until("Connected"), (Texts{"Connecting...", "Connected"}));
    // Frozen, it answers nothing; what it was asked meanwhile it answers afterwards.
    client->signal(SIGSTOP);
    post("QVTolvinMenuBarIconHide");
    post("QVTolvinDisconnect");
    client->signal(SIGCONT);
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});
    post("QVTolvinCurrentStatus");
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});

    writeDictionaryToFile(
        {{"selectedMACAddress", "02:00:00:00:00:0a"}, {"customPortSet", 1}, {"customPort", 4711}},
        settingsPath());
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
    const auto options = library() + "/Preferences/com.quorvane.Tolvin.demo.plist";
    writeDictionaryToFile({{"flood", 2}}, options);
    startClient();
    until("Connected");
    post("QVTolvinCurrentStatus");
    EXPECT_EQ(until("Connected"), (Texts{"Busy, 1 of 2", "Busy, 2 of 2", "Connected"}));
    writeDictionaryToFile({{"silent", true}, {"crashAfter", 0}}, options);
    post("QVTolvinRelaunch");
    client->waitUntilExit();
    EXPECT_EQ(client->terminationStatus(), SIGABRT);
    EXPECT_EQ(heard, Texts{"Relaunching..."});
}

TEST_F(ClientTest, TheWindowFollowsItsClientThroughEverything) {
    startClient();
    until("Connected");
    client->signal(SIGSTOP); // it runs and says nothing: only the request made at load times out
    openWindow();
    EXPECT_EQ(waitFor("Connected"), "1 (enabled)\n");
    EXPECT_EQ(waitFor("Not loaded"), "0 (enabled)\n");
    client->signal(SIGCONT);
    EXPECT_EQ(waitFor("Connected"), "1 (enabled)\n");
    endClient(SIGTERM);
    EXPECT_EQ(waitFor("Not loaded"), "0 (enabled)\n");
    startClient();
    EXPECT_EQ(waitFor("Connected"), "1 (enabled)\n");

    EXPECT_EQ(ask("items networkInterfacePopUp\nchoose networkInterfacePopUp Port"),
              "Any (recommended)\nPort\n1 (enabled)\n");
    const auto saved = [this] {
        until("Relaunching...");
        return dictionaryWithContentsOfFile(settingsPath())->stringForKey("selectedMACAddress");
    };
    EXPECT_EQ(saved(), "02:00:00:00:00:0a");
    ask("choose networkInterfacePopUp \"Any (recommended)\"");
    EXPECT_EQ(saved(), std::nullopt);
    EXPECT_EQ(waitFor("Connected"), "1 (enabled)\n");

    endClient(SIGKILL); // it cannot tell, and a request is never late once there is the next one
    EXPECT_EQ(ask("show statusLabel"), "statusLabel = Status: Connected (enabled)\n1 (enabled)\n");
    constexpr std::size_t burst = 100'000;
    heard.clear();
    for (std::size_t count = 1; count < burst; ++count) {
        postStatus("Busy");
    }
    postStatus("The last");
    EXPECT_EQ(waitFor("The last"), "1 (enabled)\n");
    EXPECT_TRUE(run([&] { return heard.size() == burst; }));

    bus.kill();
    bus.start();
    const auto again = NSTimer::scheduledTimer(
        0.1, observer, [this] { postStatus("Back"); }, true);
    EXPECT_EQ(waitFor("Back"), "1 (enabled)\n");
    again->invalidate();
}

} // namespace
