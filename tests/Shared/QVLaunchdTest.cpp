#include "Shared/QVLaunchd.h"

#include "AppKit/NSAlert.h"
#include "AppKit/NSApplication.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "RecordingMachine.h"
#include "Shared/QVAuthorization.h"
#include "support/RealTime.h"
#include "support/TestUser.h"
#include "System/FileReading.h"
#include "System/Machine.h"
#include "System/SandboxMachine.h"

#include <fstream>
#include <linux/capability.h>
#include <QPushButton>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

using Lines = std::vector<std::string>;

const std::string label = "com.example.job";
const NSDictionary settings{{"Label", label}, {"Program", "/bin/true"}, {"RunAtLoad", true}};

/// Whether this thread of the superuser's, and those it starts, may write where the mode forbids
/// it. Programs that they start may.
void overrideModes(bool may) {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, 2> data{};
    syscall(SYS_capget, &header, data.data());
    constexpr unsigned overrides = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
    data[0].effective =
        (data[0].effective & ~overrides) | (may ? data[0].permitted & overrides : 0);
    syscall(SYS_capset, &header, data.data());
}

class QVLaunchdTest : public MachineTest {
protected:
    QVLaunchdTest() {
        NSApp();
        Machine::install(recorder);
        // Where rights are granted alone, the tools of the privileged way make use of them.
        for (const std::string tool : {"/bin/mv", "/bin/rm"}) {
            recorder->makeTool(tool, "for file; do :; done; chmod u+w \"${file%/*}\"; exec " +
                                         tool + " \"$@\"");
        }
        for (const auto* tool : {"/bin/launchctl", "/usr/bin/killall", "/usr/sbin/chown"}) {
            recorder->makeTool(tool, "exit 1");
        }
        recorder->makeTool("/bin/chmod", "exec /bin/chmod \"$@\"");
        overrideModes(false);
    }
    ~QVLaunchdTest() override {
        overrideModes(true);
        QVAuthorization::sharedController().authEnd();
    }

    fs::path path(bool user = false, bool launchAgent = true) const {
        return (user ? recorder->homeDirectory() : recorder->root()) + "/Library/" +
               (launchAgent ? "LaunchAgents/" : "LaunchDaemons/") + label + ".plist";
    }
    /// A job file of before, or none, in a folder that may be written, or with rights alone.
    static void prepare(const fs::path& file, bool isThere, bool isProtected) {
        const auto folder = file.parent_path();
        fs::create_directories(folder);
        fs::permissions(folder, fs::perms::owner_all);
        fs::remove(file);
        (isThere ? std::ofstream(file) : std::ofstream()) << "old";
        fs::permissions(folder, isProtected ? fs::perms(0500) : fs::perms(0700));
    }

    /// Works on a thread of its own, presses the button of every alert, and says what was seen: the
    /// commands, the alerts, the console, with % for `file`, each ended by "|".
    std::string seenDuring(const std::string& file, const std::function<void()>& work) {
        Lines alerts;
        bool done = false;
        recorder->clearConsole();
        NSThread::detachNewThread([&] {
            const auto before = clock->seconds();
            work();
            elapsed = clock->seconds() - before;
            performOnMainThread([&done] { done = true; }, true);
        });
        NSRunLoop::mainRunLoop().runUntil([&] {
            while (!NSAlert::shownAlerts().empty()) {
                const auto* alert = NSAlert::shownAlerts().front();
                alerts.push_back(alert->messageText() + " / " + alert->informativeText());
                alert->buttonWithTitle("OK")->click();
            }
            return done;
        });
        std::string seen;
        for (const auto& lines : {recorder->launches(), alerts, recorder->consoleLines()}) {
            for (const auto& line : lines) {
                seen += line + "|";
            }
        }
        for (std::size_t place = 0; (place = seen.find(file)) != seen.npos;) {
            seen.replace(place, file.size(), "%");
        }
        return seen;
    }

    std::shared_ptr<RecordingMachine> recorder =
        std::make_shared<RecordingMachine>(directory.path(), clock);
    double elapsed = 0; // by the virtual clock, during the last work
};

} // namespace

TEST_F(QVLaunchdTest, InstallsAndRemovesJobsOrSaysWhyNot) {
    const std::string victim = directory.path() + "/victim";
    const std::string temporary = recorder->temporaryDirectory() + "/" + label + ".plist";
    const std::string stop = "/bin/launchctl unload %|/bin/launchctl remove " + label + "|";
    const std::string load = "/bin/launchctl unload %|/bin/launchctl load %|";
    const std::string kill = "/usr/bin/killall Tolvin|", remove = "sudo /bin/rm -Rdf %|";
    const std::string own = "/usr/sbin/chown root:wheel %|", mode = "/bin/chmod 644 %|";
    const std::string install = "sudo " + own + "sudo " + mode + load;
    const std::string move = remove + "sudo /bin/mv -f " + temporary + " %|";
    const std::string trying = "Unable to write plist - trying to authorize...|";
    const auto please = "Please check you have correct permissions for the directory " +
                        path().parent_path().string();
    const std::string create = "Error: Unable to create LaunchAgent",
                      write = "Error: Unable to write LaunchAgent data";
    const struct {
        std::string how, seen;
        double elapsed; // after a delete, a move, between and after owner and mode
    } cases[] = {
        {"agent kill", kill + own + mode + load, 0},
        {"agent auth old", stop + install, 1.0005},
        {"agent user", mode + load, 0},
        {"agent user auth kill old", stop + kill + "sudo " + mode + load, 1.0005},
        {"", own + mode + load, 0},
        {"agent old protected", stop + move + install + trying, 2.0015},
        {"agent user old protected", stop + move + "sudo " + mode + load + trying, 2.0015},
        {"agent auth kill protected refused",
         create + " / " + please + ".|" + trying + create + ". " + please + "|", 1},
        {"agent auth kill protected refused nowhere",
         write + " / " + please + ".|" + write + ". " + please + "|", 1},
        {"agent auth old remove", stop, 0},
        {"user old remove", stop, 0},
        {"agent user auth remove", stop, 0},
        {"agent old protected remove", stop, 0.0005},
        {"agent auth old protected remove", stop + remove, 0.0005},
        {"agent auth old protected remove refused",
         stop + "Error: Unable to remove LaunchAgent / " + please + ".|", 1},
    };
    for (const auto& [how, seen, expectedElapsed] : cases) {
        const auto is = [&how = how](const char* word) { return how.find(word) != how.npos; };
        const QVLaunchd::Place place{is("user"), is("agent"), is("auth")};
        const auto file = path(place.user, place.launchAgent);
        prepare(file, is("old"), is("protected"));
        prepare(temporary, false, is("nowhere"));
        if (seen.find(temporary) != seen.npos) {
            fs::create_symlink(victim, temporary);
        }
        QVAuthorization::sharedController().authEnd();
        recorder->authorization =
            is("refused") ? AuthorizationMode::deny : AuthorizationMode::grant;
        const auto killed = is("kill") ? std::optional<std::string>("Tolvin") : std::nullopt;
        const auto work = [&] {
            if (!is("remove")) {
                EXPECT_NE(QVLaunchd::startJob(label, {settings, place.user, place.launchAgent,
                                                      place.shouldAuth, killed}),
                          is("refused"));
            } else if (place.launchAgent && place.shouldAuth) {
                QVLaunchd::removeLaunchAgent(label, place.user);
            } else {
                QVLaunchd::removeJob(label, place);
            }
        };
        EXPECT_EQ(seenDuring(file, work), seen) << how;
        EXPECT_NEAR(elapsed, expectedElapsed, is("refused") ? 1 : 1e-6) << how;
        const bool stays = is("old protected remove") && seen.find(remove) == seen.npos;
        EXPECT_EQ(contentsOfFile(file) == "old", stays) << how;
        EXPECT_EQ(dictionaryWithContentsOfFile(file) == settings, !is("remove") && !is("refused"));
        EXPECT_TRUE(fs::is_empty(fs::path(temporary).parent_path()));
    }
    EXPECT_FALSE(fs::exists(victim)) << "a planted link was followed";
    // A launchctl that hangs is given up twice, after ten seconds each.
    recorder->makeTool("/bin/launchctl", "exec sleep 1000");
    recorder->waits = false;
    clock->toolsCountAsIdle = true;
    prepare(path(), false, false);
    const auto start = [&] { EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, false)); };
    EXPECT_TRUE(seenDuring(path(), start).starts_with(own + mode + load));
    EXPECT_GE(elapsed, 20);
}

// The whole way as an ordinary user: polkit, the privileged helper, chown, launchctl.
TEST(QVLaunchdSystemTest, AJobFileBecomesTheSuperusersAndTheJobRunsForTheUser) {
    const TestUser user("user");
    if (!user.prepare("polkit " TOOLS_DIRECTORY "/authorization-helper " SOURCE_DIRECTORY
                      "/packaging/com.quorvane.tessaline.policy.in")) {
        GTEST_SKIP() << "needs the superuser and polkit";
    }
    const TemporaryDirectory directory;
    const auto path = directory.path() + "/Library/LaunchAgents/" + label + ".plist";
    fs::create_directories(fs::path(path).parent_path());
    fs::permissions(directory.path(), fs::perms(0777)); // the folders in it are the superuser's
    EXPECT_TRUE(user.run([&] {
        setenv("XDG_RUNTIME_DIR", user.home().c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "supervisor", 1);
        chmod(user.home().c_str(), 0700);
        Machine::install(
            std::make_shared<SandboxMachine>(directory.path(), AuthorizationMode::system));
        const auto mark = user.home() + "/ran";
        const NSDictionary job{{"Label", label},
                               {"ProgramArguments", NSArray{"/usr/bin/touch", mark}},
                               {"RunAtLoad", true}};
        EXPECT_TRUE(QVLaunchd::startJob(label, {job, false, true, true}));
        EXPECT_TRUE(eventually([&] { // nobody waits for the tools that see to it
            struct stat status {};
            return stat(path.c_str(), &status) == 0 && status.st_uid + status.st_gid == 0 &&
                   (status.st_mode & 07777) == 0644;
        }));
        EXPECT_TRUE(eventually([&] { return fs::exists(mark); }));
        QVLaunchd::removeJob(label, {false, true, true});
        EXPECT_TRUE(eventually([&] { return !fs::exists(path); }));
    }));
    ASSERT_TRUE(user.prepare("answer NO"));
    EXPECT_TRUE(user.run([] { EXPECT_FALSE(QVAuthorization::sharedController().authStart()); }));
}
