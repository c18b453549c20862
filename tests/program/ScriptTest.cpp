#include "Foundation/NSString.h"
#include "support/PrivateBus.h"
#include "support/TemporaryDirectory.h"
#include "System/FileReading.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

namespace fs = std::filesystem;

std::string contents(const fs::path& path) { return contentsOfFile(path).value_or("none"); }

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
        fs::copy(BINARY_DIRECTORY "/tests/test-pane/TestPane", code);
        fs::copy(SOURCE_DIRECTORY "/tests/test-pane/TestPane.ui", layout);
        writeInfo("TestPane");
    }

    void writeInfo(const std::string& className) const {
        std::ofstream(info) << "{ CFBundleExecutable = Code; NSMainNibFile = View; "
                               "CFBundleIdentifier = \"com.quorvane.Test\"; NSPrincipalClass = "
                            << className << "; }";
    }

    Result run(const std::string& arguments, const std::string& script = "") const {
        std::ofstream(at("script")) << script;
        // Without what Qt says of its offscreen screen.
        const std::string command =
            "cd " + directory.path() +
            " && unset QT_QPA_PLATFORM && QT_LOGGING_RULES=default.warning=false "
            "XDG_RUNTIME_DIR=$PWD timeout 60 " BINARY_DIRECTORY
            "/bin/Preferences -platform offscreen " +
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
items popUp
press "disabledCheck"
show disabledCheck   # a comment behind it
type field "8\"0 ä#"
show field
choose popUp "Wi-Fi & more"
show popUp
show label
drag paneSwitch 0 1 25 27
show paneSwitch
press askCheck
sheet 10
answer "Yes & no"
wait label "answer 1" 10
show askCheck
snapshot )" + at("picture.png") + R"(
sleep 0.01
quit
press nothing
)");
    EXPECT_EQ(result.errors, "teardown\n");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, R"(Any
Wi-Fi & more
disabledCheck = 0 (disabled)
field = 8"0 ä# (enabled)
popUp = Wi-Fi & more (enabled)
label = change 2 (enabled)
paneSwitch = 1 (enabled)
100% <b>sure</b>?
%@ stays
askCheck = 1 (enabled)
)");
    EXPECT_EQ(contents(at("picture.png")).substr(1, 3), "PNG");
}

TEST_F(ScriptTest, EndsAtTheFirstLineThatFails) {
    const std::pair<std::string, std::string> cases[] = {
        {"dance", "unknown command dance"},
        {"press", "press takes 1 arguments, not 0"},
        {"press nobody", "there is no control nobody"},
        {"show \"label", "a quote does not end"},
        {"show view", "view shows no value"},
        {"wait label never 0.02", "label did not become \"never\""},
        {"choose popUp wi-fi", "popUp has no item \"wi-fi\""},
        {"type label x", "label takes no text"},
        {"sheet 0", "there is no sheet"},
        {"press \"\"", "there is no control "},
        {"drag paneSwitch 0 0 1e9 0", "\"1e9\" is no number from -100000 to 100000"},
        {"sleep -1", "\"-1\" is no number from 0 to 86400"},
        {"sleep nan", "\"nan\" is no number from 0 to 86400"},
        {"snapshot /nowhere/x.png", "the picture /nowhere/x.png cannot be written"},
    };
    const auto endsWith = [&](const std::string& line, const std::string& message) {
        const auto result = runScript("show label\n" + line + "\nshow label\n");
        EXPECT_EQ(result.output, "label = as laid out (enabled)\n");
        EXPECT_EQ(result.errors, "line 2: " + message + "\nteardown\n");
        EXPECT_EQ(result.status, 1);
    };
    for (const auto& [line, reason] : cases) {
        endsWith(line, stringWithFormat("%@: %@", line, reason));
    }
    endsWith("# " + std::string(65536, '-'), "The line has more than 65536 bytes");
}

TEST_F(ScriptTest, ASheetBlocksItsWindowAndCanBeLeftOpenAtTheEnd) {
    const std::string open = "press askCheck\nsheet 10\n";
    for (const auto& [line, text] : {std::pair{"answer No\n", "the sheet has no button \"No\""},
                                     {"press paneSwitch\n", "a sheet is in front of paneSwitch"}}) {
        const std::string errors = runScript(open + line).errors;
        EXPECT_NE(errors.find(text), std::string::npos) << errors;
    }
    EXPECT_EQ(runScript(open + "quit\n").status, 0);
}

TEST_F(ScriptTest, AnswersWhatAThreadOfTheRealPaneAsks) {
    // Where there is no client, the thread that was to start it says so.
    const auto result =
        run("--root " + at("root") + " --script - " BINARY_DIRECTORY "/Tessaline.prefPane",
            "sleep 2\npress masterSwitch\nsheet 20\nanswer OK\nwait masterSwitch 0 20\nquit\n");
    EXPECT_EQ(result.output, "Error - unable to determine application path\n"
                             "Please report this error to Quorvane.\n");
}

TEST_F(ScriptTest, OneWindowAUserIsOpenAndWithoutABusOneAStart) {
    // A window that is open writes its place down.
    const PrivateBus bus;
    std::ofstream(at("try")) << "cd " + directory.path() + R"(
export XDG_RUNTIME_DIR=$PWD HOME=$PWD/home DBUS_SESSION_BUS_ADDRESS=)" +
                                    bus.address() + R"(
host=)" BINARY_DIRECTORY R"(/bin/Preferences bus=)" +
                                    std::to_string(bus.processID()) + R"(
place=$HOME/Library/Preferences/com.quorvane.Tessaline.window.plist
start() { timeout -k 5 100 $host --authorization grant Test.prefPane 2>errors & }
shown() { until [ -s $place ] || ! kill -0 $(jobs -rp); do sleep 0.1; done; rm $place; }
start; start; start
wait -n && wait -n && shown && kill -0 $(jobs -rp) && echo one
kill -STOP $bus; start; shown; kill -0 $(jobs -rp) && echo two
kill -CONT $bus; kill $(jobs -rp); wait)";
    const std::string command = SOURCE_DIRECTORY "/scripts/with-session --headless bash " +
                                at("try") + " >" + at("output") + " 2>/dev/null";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_EQ(contents(at("output")), "one\ntwo\n");
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
    says("--socket-id=0x10", "--socket-id takes the number of a window, not \"0x10\"");
    says(good + " --socket-id=7", "There is no window 7 to show the pane in");
    says(good + " " + bundle.string(), "more than one bundle");
    says("--script " + at("none") + " " + good, "cannot be read");
    EXPECT_EQ(run("--script " + at(".") + " " + good).errors,
              "line 1: It cannot be read: Is a directory\nteardown\n");
    for (const auto& part : {bundle, fs::path(layout)}) {
        fs::permissions(part, fs::perms(0777));
        says("--authorization system " + good, part.string() + " could be changed by other users");
        fs::permissions(part, fs::perms(0755));
    }
    writeInfo("Elsewhere");
    says(good, "its code has no principal class Elsewhere");
    writeInfo("TestPane");
    const std::string property =
        "<property name=\"action\" stdset=\"0\"><string>ask:</string></property>";
    struct {
        std::string from, to, text;
    } const changes[] = {
        {"\"label\"", "\"odd\"", "outlet label is missing"},
        {"NSTextFieldLabel", "QLabel", "outlet label is of another class"},
        {"askCheck", "odd", "unknown outlet odd"},
        {">ask:", ">odd:", "unknown action odd:"},
        {"<layout", property + "<layout", "view is no control and sends no action"},
        {"NSButton", "NSNowhere", "unknown class NSNowhere"},
        {"</widget>", "", "no layout file"},
    };
    const std::string whole = contents(layout);
    for (const auto& [from, to, text] : changes) {
        std::ofstream(layout) << std::string(whole).replace(whole.find(from), from.size(), to);
        says(good, "View.ui: " + text);
    }
    fs::remove(layout);
    says(good, "there is no layout file View.ui");
    std::ofstream(code) << "no code";
    says(good, "the executable does not load");
    std::ofstream(info) << "<plist><dict>";
    says(good, "Contents/Info.plist is missing or broken");
}
