#include "Foundation/NSFileManager.h"
#include "Foundation/NSPipe.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "support/BusTest.h"

#include <algorithm>
#include <csignal>

namespace {

using Texts = std::vector<std::string>;

/// After the sandbox is made: the client's job is there, and one network interface.
const std::string furnish = R"(
echo '{}' >Library/LaunchAgents/com.quorvane.Tolvin.plist
install -D -m 755 /dev/stdin usr/sbin/system_profiler <<'END'
#!/bin/sh
echo '({ "_dataType" = SPNetworkDataType; "_items" = (
         { "_name" = Port; Ethernet = { "MAC Address" = "02:00:00:00:00:0a"; }; }); })'
END
)";

/// The real client, and the real window with the pane, in a sandbox on a real bus. The window's own
/// words are those of a user who reads German.
class ClientTest : public BusTest {
protected:
    ClientTest() {
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        setenv("LANGUAGE", "de", 1);
        const auto make = SOURCE_DIRECTORY "/scripts/make-sandbox " + build + " " + root;
        EXPECT_EQ(std::system((make + " && cd " + root + furnish).c_str()), 0);
        observe("QVTolvinStatusUpdate");
        postStatus("ready");
        until("ready"); // the bus knows whom to tell
    }
    ~ClientTest() override {
        for (const auto* process : {&client, &window}) {
            if (*process) {
                end(**process, SIGKILL);
            }
        }
        unsetenv("LANGUAGE");
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
    }

    void startClient() {
        client = machine->launch(
            {.launchPath = root + "/Applications/Tolvin.app/Contents/MacOS/Tolvin"});
    }
    static int end(LaunchedProcess& process, int signal) {
        process.signal(signal);
        process.waitUntilExit();
        return process.terminationStatus();
    }
    void postStatus(const std::string& text) {
        centre.postNotification(
            {.name = "QVTolvinStatusUpdate", .userInfo = NSDictionary{{"status", text}}});
    }
    /// The statuses that have been heard up to the next `text`.
    Texts until(const std::string& text) {
        Texts texts;
        EXPECT_TRUE(run([&] {
            for (const auto& update : std::exchange(heard, {})) {
                texts.push_back(update.userInfoString("status").value_or("none"));
            }
            return std::find(texts.begin(), texts.end(), text) != texts.end();
        })) << text;
        return texts;
    }

    void openWindow() {
        window = machine->launch(
            {.launchPath = build + "/bin/Preferences",
             .arguments = {"--root", root, "--script", "-", build + "/Tessaline.prefPane"},
             .standardInput = script.fileHandleForReading()->fileDescriptor(),
             .standardOutput = told.fileHandleForWriting()->fileDescriptor()});
        told.fileHandleForWriting()->closeFile();
    }
    /// What the window tells of some commands and, after them, of the switch.
    std::string ask(const std::string& commands) {
        script.fileHandleForWriting()->writeData(commands + "\nshow masterSwitch\n");
        std::string answer;
        while (!answer.ends_with("abled)\n") || answer.find("masterSwitch = ") == answer.npos) {
            const auto bytes = told.fileHandleForReading()->availableData();
            if (bytes.empty()) {
                return answer + "the end";
            }
            answer.append(bytes.begin(), bytes.end());
        }
        return answer;
    }
    std::string waitFor(const std::string& status) {
        return ask("wait statusLabel \"Status: " + status + "\" 60");
    }

    std::string waitForMessage(const std::string& message) {
        return ask("wait messageText \"" + message + "\" 60");
    }

    std::optional<std::string> addressAtRelaunch() {
        until("Relaunching...");
        return dictionaryWithContentsOfFile(library + "/Preferences/com.quorvane.Tolvin.plist")
            ->stringForKey("selectedMACAddress");
    }

    const std::string root = machine->root();
    const std::string build = BINARY_DIRECTORY;
    const std::string library = root + "/Users/" + RealMachine().userName() + "/Library";
    const std::string job = root + "/Library/LaunchAgents/com.quorvane.Tolvin.plist";
    NSPipe script, told;
    std::unique_ptr<LaunchedProcess> client, window;
    const std::string on = "masterSwitch = 1 (enabled)\n", off = "masterSwitch = 0 (enabled)\n";
};

TEST_F(ClientTest, TheWindowFollowsItsClientThroughEverything) {
    startClient();
    EXPECT_EQ(until("Connected"), (Texts{"Connecting...", "Connected"}));
    centre.postNotificationName("QVTolvinDisconnect");
    EXPECT_EQ(until("Disconnected"), Texts{"Disconnected"});
    centre.postNotificationName("QVTolvinRelaunch");
    EXPECT_EQ(until("Connected"), (Texts{"Relaunching...", "Connected"}));

    client->signal(SIGSTOP); // it runs and says nothing: only the request made at load times out
    openWindow();
    EXPECT_EQ(waitFor("Connected"), on);
    EXPECT_EQ(waitFor("Not loaded"), off);
    client->signal(SIGCONT);
    EXPECT_EQ(waitFor("Connected"), on);
    // Killed, it cannot tell; and a request is never late once there is the next one.
    EXPECT_EQ(end(*client, SIGKILL), SIGKILL);
    EXPECT_EQ(ask("show statusLabel"), "statusLabel = Status: Connected (enabled)\n" + on);
    EXPECT_EQ(waitForMessage("Tolvin ist beendet; der Status unten ist der letzte, den es gemeldet "
                             "hat. Schalten Sie es aus und ein, um es neu zu starten."),
              on);
    // The log is there from the start, and followed into its next file.
    ask("press messageShowLog\nwait logNote \"Im Protokoll steht noch nichts.\" 60");
    EXPECT_EQ(
        std::system(("find " + root + " -name Preferences.1.log -execdir sh -c 'echo 1 >>$1; " +
                     "mv $1 Preferences.2.log; echo 2 >$1' - '{}' ';'")
                        .c_str()),
        0);
    EXPECT_EQ(ask("wait logNote \"Zeilen: 2\" 60"), on);
    heard.clear();
    startClient();
    until("Connected");
    EXPECT_EQ(waitForMessage(""), on);

    EXPECT_EQ(ask("items networkInterfacePopUp\nchoose networkInterfacePopUp Port"),
              "Any (recommended)\nPort\n" + on);
    EXPECT_EQ(addressAtRelaunch(), "02:00:00:00:00:0a");
    // Another user turns it off for everybody.
    const auto& files = NSFileManager::defaultManager();
    files.moveItemAtPath(job, root + "/job");
    waitForMessage("Tolvin läuft in dieser Anmeldung noch, obwohl es für diesen Rechner "
                   "ausgeschaltet wurde.");
    ask("press messageAction");
    EXPECT_EQ(end(*client, 0), 0);
    EXPECT_EQ(waitFor("Not loaded"), off);
    files.moveItemAtPath(root + "/job", job);
    startClient();
    EXPECT_EQ(waitFor("Connected"), on);
    writeDictionaryToFile({{"silent", true}, {"crashAfter", 0}},
                          library + "/Preferences/com.quorvane.Tolvin.demo.plist");
    ask("choose networkInterfacePopUp \"Any (recommended)\"");
    EXPECT_EQ(addressAtRelaunch(), std::nullopt);
    EXPECT_EQ(end(*client, 0), SIGABRT);
    EXPECT_EQ(waitFor("Relaunching..."), on);

    bus.kill();
    bus.start();
    NSTimer::scheduledTimer(
        0.1, observer, [this] { postStatus("Back"); }, true);
    EXPECT_EQ(waitFor("Back"), on);
    EXPECT_EQ(end(*window, SIGTERM), 128 + SIGTERM);
}

} // namespace
