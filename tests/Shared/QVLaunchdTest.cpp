#include "Shared/QVLaunchd.h"

#include "AppKit/NSAlert.h"
#include "AppKit/NSApplication.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "RecordingMachine.h"
#include "Shared/QVAuthorization.h"
#include "support/RealTime.h"
#include "support/TestUser.h"

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
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        NSApp();
        Machine::install(recorder);
        // Where rights are granted alone, the tools of the privileged way make use of them.
        for (const std::string tool : {"/bin/mv", "/bin/rm"}) {
            makeTool(tool,
                     "for file; do :; done; chmod u+w \"${file%/*}\"; exec " + tool + " \"$@\"");
        }
        for (const auto* tool : {"/bin/launchctl", "/usr/bin/killall", "/usr/sbin/chown"}) {
            makeTool(tool, "exit 1");
        }
        fs::create_directories(folder());
        overrideModes(false);
    }
    ~QVLaunchdTest() override {
        overrideModes(true);
        QVAuthorization::sharedController().authEnd();
    }

    void makeTool(const std::string& tool, const std::string& script) const {
        const auto place = recorder->root() + tool;
        fs::create_directories(fs::path(place).parent_path());
        std::ofstream(place) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(place, fs::perms::owner_all);
    }
    std::string folder(bool user = false, bool launchAgent = true) const {
        return (user ? recorder->homeDirectory() : recorder->root()) + "/Library/" +
               (launchAgent ? "LaunchAgents" : "LaunchDaemons");
    }
    std::string path(bool user = false, bool launchAgent = true) const {
        return folder(user, launchAgent) + "/" + label + ".plist";
    }
    /// An older job file, in a folder that may be written with rights alone.
    void putOldFile(bool isProtected, bool user = false, bool launchAgent = true) const {
        const auto place = folder(user, launchAgent);
        fs::create_directories(place);
        fs::permissions(place, fs::perms::owner_write, fs::perm_options::add);
        std::ofstream(path(user, launchAgent)) << "old";
        if (isProtected) {
            protect(place);
        }
    }
    static void protect(const std::string& place) {
        fs::permissions(place, fs::perms::owner_write, fs::perm_options::remove);
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

const std::string stop = "/bin/launchctl unload %|/bin/launchctl remove " + label + "|";
const std::string load = "/bin/launchctl unload %|/bin/launchctl load %|";
const std::string please = " / Please check you have correct permissions for the directory ";
const std::string own = "/usr/sbin/chown root:wheel %|", mode = "/bin/chmod 644 %|";

} // namespace

TEST_F(QVLaunchdTest, InstallsIntoAFolderThatItMayWrite) {
    const struct {
        bool user, launchAgent, shouldAuth;
        std::optional<std::string> kill;
        std::string commands;
    } cases[] = {
        {false, true, false, "Tolvin", "/usr/bin/killall Tolvin|" + own + mode + load},
        {false, true, true, std::nullopt, stop + "sudo " + own + "sudo " + mode + load},
        {true, true, false, std::nullopt, mode + load},
        {true, true, true, "X", stop + "/usr/bin/killall X|sudo " + mode + load},
        {false, false, false, std::nullopt, own + mode + load},
    };
    for (const auto& [user, agent, auth, kill, commands] : cases) {
        const QVLaunchd::Install job{settings, user, agent, auth, kill};
        const auto install = [&] { EXPECT_TRUE(QVLaunchd::startJob(label, job)); };
        EXPECT_EQ(seenDuring(path(user, agent), install), commands);
        EXPECT_NEAR(elapsed, auth ? 1.0005 : 0, 1e-6);
        EXPECT_EQ(dictionaryWithContentsOfFile(path(user, agent)), settings);
    }
    // A launchctl that hangs is given up twice, after ten seconds each.
    makeTool("/bin/launchctl", "exec sleep 1000");
    recorder->waits = false;
    clock->toolsCountAsIdle = true;
    fs::remove(path());
    const auto install = [&] { EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, false)); };
    EXPECT_TRUE(seenDuring(path(), install).starts_with(own + mode + load));
    EXPECT_GE(elapsed, 20);
}

TEST_F(QVLaunchdTest, InstallsWithRightsWhereItMayNotWrite) {
    const auto temporary = recorder->temporaryDirectory() + "/" + label + ".plist";
    for (const bool user : {false, true}) {
        putOldFile(true, user);
        const auto install = [&] {
            EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, user));
        };
        EXPECT_EQ(seenDuring(path(user), install),
                  stop + "sudo /bin/rm -Rdf %|sudo /bin/mv -f " + temporary + " %|" +
                      (user ? "" : "sudo " + own) + "sudo " + mode + load +
                      "Unable to write plist - trying to authorize...|");
        // After the failed and the privileged delete, the move, and between and after owner and
        // mode.
        EXPECT_NEAR(elapsed, 0.0005 + 0.0005 + 1 + 0.0005 + 1, 1e-6);
        EXPECT_EQ(dictionaryWithContentsOfFile(path(user)), settings);
        EXPECT_FALSE(fs::exists(temporary));
    }
}

TEST_F(QVLaunchdTest, ToldWhyAJobCannotBeInstalled) {
    const auto temporary = recorder->temporaryDirectory();
    protect(folder());
    recorder->authorization = AuthorizationMode::deny;
    const std::string noData = "Error: Unable to write LaunchAgent data";
    const std::string noAgent = "Error: Unable to create LaunchAgent";
    for (const auto& [error, before] :
         {std::pair{noAgent, "Unable to write plist - trying to authorize...|"}, {noData, ""}}) {
        const auto install = [&] {
            EXPECT_FALSE(QVLaunchd::startJob(label, {settings, false, true, true, "Tolvin"}));
        };
        EXPECT_EQ(seenDuring(folder(), install),
                  error + please + "%.|" + before + error + "." + please.substr(2) + "%|");
        EXPECT_TRUE(fs::is_empty(temporary) && fs::is_empty(folder()));
        protect(temporary);
    }
}

TEST_F(QVLaunchdTest, RemovesAJob) {
    constexpr auto grant = AuthorizationMode::grant, deny = AuthorizationMode::deny;
    const struct {
        bool user, launchAgent, shouldAuth, isProtected;
        AuthorizationMode mode;
        std::string more; // than the two commands that stop it
    } cases[] = {
        {false, true, true, false, grant, ""},
        {true, false, false, false, grant, ""},
        {false, true, false, true, grant, ""},
        {false, true, true, true, deny,
         "Error: Unable to remove LaunchAgent" + please + folder() + ".|"},
        {false, true, true, true, grant, "sudo /bin/rm -Rdf %|"},
        {true, true, true, true, grant, "sudo /bin/rm -Rdf %|"},
    };
    for (const auto& [user, agent, auth, isProtected, mode, more] : cases) {
        putOldFile(isProtected, user, agent);
        recorder->authorization = mode;
        const QVLaunchd::Place place{user, agent, auth};
        const auto file = path(user, agent);
        EXPECT_EQ(seenDuring(file, [&] { QVLaunchd::removeJob(label, place); }), stop + more);
        EXPECT_EQ(fs::exists(file), isProtected && !more.starts_with("sudo"));
    }
    for (const bool user : {true, false}) {
        EXPECT_EQ(seenDuring(path(user), [&] { QVLaunchd::removeLaunchAgent(label, user); }), stop);
    }
}

TEST_F(QVLaunchdTest, AKilledPanelLeavesNoHelperAndNoHalfAJob) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "the helper works for the superuser alone";
    }
    recorder->waits = false;
    recorder->authorization = AuthorizationMode::system;
    recorder->tools["/usr/bin/pkexec"] = recorder->root() + "/pkexec";
    // The one whose turn it is takes the panel along before it does its work.
    const auto notes = directory.path();
    const auto fatal = "cd " + notes +
                       "; echo $$ >>processes\n"
                       "[ $(grep -nx $$ processes) != $(cat turn):$$ ] || kill -9 $(cat panel)\n";
    makeTool("/pkexec", fatal + "exec \"$2\"");
    for (const std::string tool : {"/bin/mv", "/bin/rm", "/bin/chmod"}) {
        makeTool(tool, fatal + "exec " + tool + " \"$@\"");
    }
    for (const auto* tool : {"/bin/launchctl", "/usr/bin/killall", "/usr/sbin/chown"}) {
        makeTool(tool, fatal);
    }
    int turn = 0, status = 0;
    do {
        putOldFile(true);
        fs::remove(notes + "/processes");
        std::ofstream(notes + "/turn") << ++turn;
        const pid_t panel = fork();
        if (panel == 0) {
            std::ofstream(notes + "/panel") << getpid();
            QVLaunchd::startJob(label, {settings, false, true, true, "Tolvin"});
            QVAuthorization::sharedController().authExecTask("/bin/true", {}, false); // the last
            _exit(EXIT_SUCCESS);
        }
        waitpid(panel, &status, 0);
        std::ifstream processes(notes + "/processes");
        for (pid_t process = 0; processes >> process;) {
            EXPECT_TRUE(ends(process)) << turn;
        }
        const auto content = contentsOfFile(path()).value_or("old");
        EXPECT_TRUE(content == "old" || dictionaryWithContentsOfFile(path()) == settings)
            << content;
    } while (WIFSIGNALED(status));
    EXPECT_GT(turn, 10) << "it was killed at each of its tools before";
}

// The whole way as an ordinary user: polkit, the privileged helper, chown, launchctl.
TEST(QVLaunchdSystemTest, AJobFileBecomesTheSuperusersAndTheJobRunsForTheUser) {
    const TestUser user("user");
    if (!user.hasPolkit()) {
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
        struct stat status {};
        stat(path.c_str(), &status);
        EXPECT_EQ(status.st_uid + status.st_gid, 0U);
        EXPECT_EQ(status.st_mode & 07777, 0644U);
        EXPECT_TRUE(eventually([&] { return fs::exists(mark); }));
        QVLaunchd::removeJob(label, {false, true, true});
        EXPECT_TRUE(eventually([&] { return !fs::exists(path); }));
    }));
}
