#include "Foundation/NSFileManager.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "pane/PaneFixture.h"
#include "System/FileReading.h"
#include "System/FileReplacement.h"

#include <filesystem>
#include <QLineEdit>

namespace {

const std::string clientFile = "com.quorvane.Tolvin.plist";
const std::string globalFile = "com.quorvane.global.plist";

class SettingsTest : public PaneTest {
protected:
    SettingsTest() { writeJobFile(); } // the client's checkboxes can be used

    /// How the controls of a new pane come up: the four client checkboxes, the two network ones,
    /// the port.
    std::string loadedControls() {
        load();
        std::string result;
        for (const auto& setting : Tessaline_Network_ClientPref::settings()) {
            const auto* box = dynamic_cast<NSButton*>(
                pane->mainView()->findChild<QWidget*>(setting.outlet.c_str()));
            result += box != nullptr ? std::to_string(box->state()) : "";
        }
        result += " " + text("networkCustomPortText").stringValue();
        pane = nullptr;
        runUntilIdle();
        return result;
    }
    void writeBytes(const std::string& file, const std::string& bytes) {
        ASSERT_FALSE(writeFileAtomically(bytes, machine->preferences(file)));
    }
};

TEST_F(SettingsTest, ControlsComeUpAsTheStoredValuesSay) {
    // Each of the values under every key.
    const std::pair<const char*, NSArray> cases[] = {
        {"000000 ", {0, false, 0.0, "0"}},
        {"111111 1", {1, true, 1.0, "1"}},
        {"111100 2", {2}},
        {"111100 8080", {8080.0, "8080"}},
        {"111100 ", {-1, 0.5, "on", NSArray{1}, NSDictionary()}}};
    for (const auto& [shown, values] : cases) {
        for (const auto& value : values) {
            NSDictionary client, global;
            for (const auto& setting : Tessaline_Network_ClientPref::settings()) {
                (setting.kind == setting.shared ? global : client).setObject(value, setting.key);
            }
            writeSettings(clientFile, client);
            writeSettings(globalFile, global);
            EXPECT_EQ(loadedControls(), shown) << xmlDataFromPropertyList(value);
        }
    }
}

TEST_F(SettingsTest, ASaveChangesItsKeysInTheirOrderAndNothingElse) {
    writeSettings(clientFile, {{"zebra", NSDictionary{{"nested", NSArray{1.5, "\xE2\x82\xAC"}}}},
                               {"lastRunVersion", "1.0"},
                               {"big", NSInteger64{-1, true}},
                               {"data", NSData{0, 255}},
                               {"date", NSDate(std::chrono::seconds(1794861907))}});
    writeSettings(globalFile, {{"SUCheckAtStartup", 0}, {"disable-logging", "0"}});
    load();
    check("preventUpdateDialogsCheck").click();
    check("networkCustomPortCheck").click();
    EXPECT_TRUE(text("networkCustomPortText").isEnabled());
    control<QLineEdit>("networkCustomPortText").setText("  8080abc");
    Q_EMIT control<QLineEdit>("networkCustomPortText").editingFinished();
    const auto client = settings();
    std::vector<std::string> keys;
    for (const auto& [key, value] : client) {
        keys.push_back(key);
    }
    EXPECT_EQ(keys, (std::vector<std::string>{"zebra", "lastRunVersion", "big", "data", "date",
                                              "autoUpdateCheck", "showMenuBarIcon",
                                              "enableMaintenanceRequests", "customPortSet",
                                              "customPort", "disableBonjour"}));
    EXPECT_EQ(*client.objectForKey("customPort"), PropertyList(8080));
    EXPECT_EQ(*client.objectForKey("big"), PropertyList(NSInteger64{-1, true}));
    EXPECT_EQ(*client.objectForKey("data"), PropertyList(NSData{0, 255}));
    EXPECT_EQ(settings(globalFile),
              (NSDictionary{{"SUCheckAtStartup", 1}, {"disable-logging", "0"}}));
}

TEST_F(SettingsTest, WhatIsNoDictionaryCountsAsMissingIsNeverMadeAndALinkStaysALink) {
    const auto real = machine->root() + "/elsewhere.plist";
    std::filesystem::create_symlink(real, machine->preferences(clientFile));
    for (const std::string bytes :
         {"", "no property list {", "<plist><array/></plist>", "bplist00garbage", "{}",
          "{ kept = 1; autoUpdateCheck = 0; customPort = \"99\"; customPortSet = 1; }"}) {
        writeBytes(clientFile, bytes);
        EXPECT_EQ(loadedControls(), bytes.ends_with("; }") ? "011110 99" : "111100 ") << bytes;
    }
    load();
    check("networkDisableBonjour").click();
    EXPECT_FALSE(std::filesystem::exists(machine->preferences(globalFile)));
    writeBytes(globalFile, "no property list {");
    check("preventUpdateDialogsCheck").click();
    EXPECT_EQ(contentsOfFile(machine->preferences(globalFile)), "no property list {");
    EXPECT_TRUE(std::filesystem::is_symlink(machine->preferences(clientFile)));
    const auto written = dictionaryWithContentsOfFile(real);
    EXPECT_EQ(*written->objectForKey("disableBonjour"), PropertyList(1));
    EXPECT_EQ(*written->objectForKey("kept"), PropertyList("1"));
}

TEST_F(SettingsTest, AFileThatCannotBeWrittenIsMovedIntoPlaceWithRights) {
    // A link to nowhere refuses every plain write, the superuser's too.
    std::filesystem::create_symlink("/no/such/folder/file", machine->preferences(clientFile));
    writeSettings(globalFile, {{"SUCheckAtStartup", 0}});
    load();
    const auto temporary = machine->temporaryDirectory() + "/" + clientFile;
    const auto victim = machine->root() + "/victim";
    std::filesystem::create_symlink(victim, temporary);
    check("preventUpdateDialogsCheck").click();
    EXPECT_FALSE(std::filesystem::exists(victim)) << "a link was followed";
    EXPECT_EQ(machine->commands().back().line,
              "mv -f " + temporary + " " + machine->homeDirectory() + "/Library/Preferences");
    EXPECT_EQ(settings(globalFile), (NSDictionary{{"SUCheckAtStartup", 1}}));
    runFor(3); // the move did nothing, which shows later

    machine->tools["/bin/mv"] = ""; // not even with rights
    listen();
    check("preventUpdateDialogsCheck").setState(0);
    check("networkCustomPortCheck").click();
    runFor(1);
    machine->tools.clear();
    const auto commands = machine->commands().size();
    for (const char* unreadable : {"/", "/proc/self/mem"}) { // rights do not help where it is there
        std::filesystem::remove(machine->preferences(clientFile));
        std::filesystem::create_symlink(unreadable, machine->preferences(clientFile));
        check("showMenuBarIconCheck").click();
        EXPECT_EQ(check("enableMaintenanceCheck").isEnabled(),
                  check("showMenuBarIconCheck").state() == 1);
        runFor(1);
    }
    EXPECT_EQ(machine->commands().size(), commands);
    EXPECT_EQ(sheets.texts, std::vector<std::string>(
                                4, "Unable to write preferences / Please check the permissions "
                                   "for the directory " +
                                       machine->homeDirectory() + "/Library/Preferences."));
    EXPECT_EQ(settings(globalFile), (NSDictionary{{"SUCheckAtStartup", 1}}));
    EXPECT_FALSE(text("networkCustomPortText").isEnabled()) << "the enabling rule was not to run";
    EXPECT_EQ(heard, (std::vector<std::string>{"TolvinRelaunch@4", "TolvinMenuBarIconHide@6",
                                               "TolvinMenuBarIconShow@8"}))
        << "each of them after its save";

    std::filesystem::remove_all(machine->homeDirectory() + "/Library/Preferences");
    check("networkDisableBonjour").click();
    EXPECT_EQ(settings().count(), 6U) << "a missing folder is made";
}

class InterfacesTest : public PaneTest {
protected:
    void reports(const std::string& output, double seconds = 0) {
        machine->setTool("system_profiler",
                         [=](auto&) { return ToolResult{.seconds = seconds, .output = output}; });
    }
    static std::string report(const std::string& services) {
        return "({_dataType = SPNetworkDataType; _items = (" + services + ");}, {})";
    }
    static std::string service(const std::string& name, const std::string& address) {
        return "{_name = \"" + name + "\"; Ethernet = {\"MAC Address\" = \"" + address + "\";};}";
    }
    NSPopUpButton& popUp() { return control<NSPopUpButton>("networkInterfacePopUp"); }
    /// The menu's titles, one a line; the selected one has a mark.
    std::string menu() {
        std::string result;
        for (const auto& item : popUp().menu().itemArray()) {
            result += (item == popUp().selectedItem() ? "*" : "") + item->title() + "\n";
        }
        return result;
    }
};

TEST_F(InterfacesTest, AReportThatCannotBeUnderstoodGivesOneLineThatSaysWhy) {
    load();
    const std::string exception = "Exception in -[Tessaline_Network_ClientPref networkInterfaces].";
    const std::string parse = exception + " NSParseErrorException";
    const std::string format = "Invalid system profile data format";
    const std::pair<std::string, std::string> cases[] = {
        {"caf\xC3\xA9", "Unable to get system profile data"},
        {"", parse},
        {"<plist><array>", parse},
        {"{}", "Error 1 - Invalid system profile data"},
        {"()", "Error 3 - Invalid system profile data"},
        {"(x)", "Error 3 - Invalid system profile data"},
        {"({_items = ();})", format},
        {"({_dataType = spnetworkdatatype; _items = ();})", format},
        {"({_dataType = SPNetworkDataType; _items = {};})", format},
        {report("{Ethernet = text;}"), exception + " NSInvalidArgumentException"},
    };
    for (const auto& [output, line] : cases) {
        reports(output);
        machine->clearConsole();
        EXPECT_EQ(pane->networkInterfaces(), std::nullopt) << output;
        EXPECT_EQ(told(line), 1) << output;
    }
}

TEST_F(InterfacesTest, TheMenuShowsWhatHasAnAddressAndTheLastOfTheSavedOnesIsSelected) {
    reports(report("{_name = Ethernet; interface = en0; Ethernet = {\"MAC Address\" = \"00\";};},"
                   "{_name = \"no ethernet\";}, {_name = \"no address\"; Ethernet = {};},"
                   "{Ethernet = {\"MAC Address\" = \"no name\";};}, \"no dictionary\"," +
                   service("Twin", "aa:bb") + "," + service("Other twin", "aa:bb")));
    writeSettings(clientFile, {{"selectedMACAddress", "aa:bb"}});
    load();
    EXPECT_EQ(menu(), "Any (recommended)\nEthernet - en0\nTwin\n*Other twin\n");
    writeSettings(clientFile, {{"selectedMACAddress", "AA:BB"}});
    pane->populateNetworkInterfaces();
    EXPECT_EQ(menu(), "*Any (recommended)\nEthernet - en0\nTwin\nOther twin\n");
    pane->savePrefs(nullptr);
    const auto saved = settings();
    EXPECT_EQ(saved.objectForKey("selectedMACAddress"), nullptr);
}

TEST_F(InterfacesTest, AProfilerThatHangsIsEndedAfterTenSeconds) {
    reports("", 60);
    load();
    EXPECT_EQ(clock->seconds(), 10);
    EXPECT_EQ(menu(), "*Any (recommended)\n");
}

} // namespace
