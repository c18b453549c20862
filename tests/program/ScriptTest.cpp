#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// Runs the settings application on a bundle around the test pane's code.
class ScriptTest : public testing::Test {
protected:
    struct Result {
        int status = -1;
        std::string output, errors;
    };

    ScriptTest() {
        fs::create_directories(bundle / "Contents/MacOS");
        fs::create_directories(bundle / "Contents/Resources");
        fs::copy(BINARY_DIRECTORY "/tests/panes/TestPane", code);
        fs::copy(SOURCE_DIRECTORY "/pane/Resources/Tessaline_Network_ClientPref.ui", layout);
        writeInfo("TestPane");
    }

    void writeInfo(const std::string& className) const {
        std::ofstream(info) << "<plist version=\"1.0\"><dict>"
                            << "<key>CFBundleExecutable</key><string>Code</string>"
                            << "<key>NSMainNibFile</key><string>View</string>"
                            << "<key>NSPrincipalClass</key><string>" << className
                            << "</string></dict></plist>";
    }

    Result run(const std::string& arguments, const std::string& script = "") const {
        std::ofstream(at("script")) << script;
        // Without what Qt says of its offscreen screen.
        const std::string command =
            "cd " + directory.path() +
            " && QT_QPA_PLATFORM=offscreen QT_LOGGING_RULES=default.warning=false "
            "XDG_RUNTIME_DIR=$PWD timeout 60 " BINARY_DIRECTORY "/bin/Preferences " +
            arguments + " <script >output 2>errors";
        const int status = WEXITSTATUS(std::system(command.c_str()));
        return {status, contents(at("output")), contents(at("errors"))};
    }
    Result runScript(const std::string& script) const {
        return run("--root " + at("root") + " --script - " + bundle.string(), script);
    }
    std::string at(const std::string& name) const { return directory.path() + "/" + name; }

    TemporaryDirectory directory;
    fs::path bundle = at("Test.prefPane");
    fs::path info = bundle / "Contents/Info.plist";
    fs::path code = bundle / "Contents/MacOS/Code";
    fs::path layout = bundle / "Contents/Resources/View.ui";
};

} // namespace

TEST_F(ScriptTest, DrivesEveryKindOfControlByMouseAndKeys) {
    const auto result = runScript(R"(# what the view starts with
show masterSwitch
items networkInterfacePopUp
press networkCustomPortCheck
show networkCustomPortCheck   # a comment behind it
type networkCustomPortText "8\"0 ä#"
show networkCustomPortText
choose networkInterfacePopUp "Wi-Fi & more"
show networkInterfacePopUp
show statusLabel
press enableMaintenanceCheck
show enableMaintenanceCheck
press masterSwitch
show masterSwitch
press masterSwitch
drag masterSwitch 70 14 5 14
show masterSwitch
press "autoUpdateCheck"
sheet 10
answer "Yes & no"
wait statusLabel "answer 1" 10
snapshot )" + at("picture.png") + R"(
sleep 0.01
quit
press nothing
)");
    EXPECT_EQ(result.errors, "teardown\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, R"(masterSwitch = 1 (enabled)
Any
Wi-Fi & more
networkCustomPortCheck = 1 (enabled)
networkCustomPortText = 8"0 ä# (enabled)
networkInterfacePopUp = Wi-Fi & more (enabled)
statusLabel = network 3 (enabled)
enableMaintenanceCheck = 0 (disabled)
masterSwitch = 0 (enabled)
masterSwitch = 0 (enabled)
100% <b>sure</b>?
%@ stays
)");
    EXPECT_EQ(contents(at("picture.png")).substr(1, 3), "PNG");
}

TEST_F(ScriptTest, EndsAtTheFirstLineThatFails) {
    const std::pair<std::string, std::string> cases[] = {
        {"dance", "unknown command dance"},
        {"press", "press takes 1 arguments, not 0"},
        {"press nobody", "there is no control nobody"},
        {"show \"statusLabel", "a quote does not end"},
        {"show clientGroup", "clientGroup shows no value"},
        {"wait statusLabel never 0.02", "statusLabel did not become \"never\""},
        {"choose networkInterfacePopUp wi-fi", "networkInterfacePopUp has no item \"wi-fi\""},
        {"type statusLabel x", "statusLabel takes no text"},
        {"sheet 0", "there is no sheet"},
        {"snapshot /nowhere/x.png", "the picture /nowhere/x.png cannot be written"},
    };
    for (const auto& [line, reason] : cases) {
        const auto result = runScript("show masterOnLabel\n" + line + "\nshow masterOffLabel\n");
        EXPECT_EQ(result.output, "masterOnLabel = On (enabled)\n");
        EXPECT_EQ(result.errors, "line 2: " + line + ": " + reason + "\nteardown\n");
        EXPECT_EQ(result.status, 1);
    }
}

TEST_F(ScriptTest, ASheetBlocksItsWindowAndCanBeLeftOpenAtTheEnd) {
    const std::string open = "press autoUpdateCheck\nsheet 10\n";
    const auto says = [&](const std::string& line, const std::string& text) {
        const std::string errors = runScript(open + line).errors;
        EXPECT_NE(errors.find(text), std::string::npos) << errors;
    };
    says("answer No\n", "the sheet has no button \"No\"");
    says("press masterSwitch\n", "a sheet is in front of masterSwitch");
    EXPECT_EQ(runScript(open + "quit\n").status, 0);
}

TEST_F(ScriptTest, SaysInOneLineWhatIsWrongWithABundle) {
    const std::string root = "--root " + at("root") + " ";
    const std::string good = root + bundle.string();
    const auto says = [&](const std::string& arguments, const std::string& text) {
        auto [status, output, errors] = run(arguments);
        EXPECT_NE(status, 0) << arguments;
        EXPECT_EQ(output, "");
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'),
                  errors.starts_with("teardown\n") ? 2 : 1); // one is the test pane's own
        EXPECT_NE(errors.find(text), std::string::npos) << errors;
    };
    says(root + at("None.prefPane"), "there is no such bundle");
    says("--root /proc/none " + bundle.string(), "The root folder /proc/none cannot be written");
    says("--frobnicate", "unknown option --frobnicate");
    says("--authorization maybe", "--authorization takes system, grant or deny, not \"maybe\"");
    says("--root", "--root needs a value");
    says(good + " " + bundle.string(), "more than one bundle");
    says("--script " + at("none") + " " + good, "cannot be read");
    writeInfo("Elsewhere");
    says(good, "its code has no principal class Elsewhere");
    writeInfo("TestPane");
    std::ofstream(layout) << "<ui";
    says(good, "View.ui: no layout file");
    fs::remove(layout);
    says(good, "there is no layout file View.ui");
    std::ofstream(code) << "no code";
    says(good, "the executable does not load");
    std::ofstream(info) << "<plist><dict>";
    says(good, "Contents/Info.plist is missing or broken");
}
