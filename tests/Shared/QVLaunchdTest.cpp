#include "Shared/QVLaunchd.h"

#include "AppKit/NSAlert.h"
#include "AppKit/NSApplication.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "RecordingMachine.h"
#include "Shared/QVAuthorization.h"
#include "support/TestUser.h"

#include <fstream>
#include <linux/capability.h>
#include <QPushButton>
#include <sys/stat.h>
#include <sys/syscall.h>

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
        for (const std::string tool : {"/bin/launchctl", "/usr/bin/killall", "/usr/sbin/chown",
                                       "/bin/chmod", "/bin/mv", "/bin/rm"}) {
            const auto place = recorder->root() + tool;
            fs::create_directories(fs::path(place).parent_path());
            std::ofstream(place) << "#!/bin/sh\ncase $0 in *mv|*rm) chmod u+w '" << folder()
                                 << "'; exec " << tool << " \"$@\";; esac\n";
            fs::permissions(place, fs::perms::owner_all);
        }
        fs::create_directories(folder());
        overrideModes(false);
    }
    ~QVLaunchdTest() override {
        overrideModes(true);
        QVAuthorization::sharedController().authEnd();
    }

    std::string folder() const { return recorder->root() + "/Library/LaunchAgents"; }
    std::string path() const { return folder() + "/" + label + ".plist"; }
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
    for (const auto& row : cases) {
        const auto file = (row.user ? recorder->homeDirectory() : recorder->root()) + "/Library/" +
                          (row.launchAgent ? "LaunchAgents/" : "LaunchDaemons/") + label + ".plist";
        EXPECT_EQ(seenDuring(file,
                             [&] {
                                 EXPECT_TRUE(QVLaunchd::startJob(
                                     label, {settings, row.user, row.launchAgent, row.shouldAuth,
                                             row.kill}));
                             }),
                  row.commands);
        EXPECT_NEAR(elapsed, row.shouldAuth ? 1.0005 : 0, 1e-6);
        EXPECT_EQ(dictionaryWithContentsOfFile(file), settings);
    }
}

TEST_F(QVLaunchdTest, InstallsWithRightsWhereItMayNotWrite) {
    std::ofstream(path()) << "old";
    protect(folder());
    const auto temporary = recorder->temporaryDirectory() + "/" + label + ".plist";
    EXPECT_EQ(seenDuring(path(),
                         [&] { EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, false)); }),
              stop + "sudo /bin/rm -Rdf %|sudo /bin/mv -f " + temporary + " %|sudo " + own +
                  "sudo " + mode + load + "Unable to write plist - trying to authorize...|");
    // After the failed and the privileged delete, the move, and between and after owner and mode.
    EXPECT_NEAR(elapsed, 0.0005 + 0.0005 + 1 + 0.0005 + 1, 1e-6);
    EXPECT_EQ(dictionaryWithContentsOfFile(path()), settings);
    EXPECT_FALSE(fs::exists(temporary));
}

TEST_F(QVLaunchdTest, ToldWhyAJobCannotBeInstalled) {
    const auto temporary = recorder->temporaryDirectory();
    protect(folder());
    recorder->authorization = AuthorizationMode::deny;
    const auto install = [&] {
        EXPECT_FALSE(QVLaunchd::startJob(label, {settings, false, true, true, "Tolvin"}));
    };
    const auto seen = seenDuring(folder(), install);
    EXPECT_TRUE(seen.starts_with("Error: Unable to create LaunchAgent" + please + "%.|")) << seen;
    EXPECT_TRUE(fs::is_empty(temporary));
    protect(temporary);
    const std::string noData = "Error: Unable to write LaunchAgent data";
    EXPECT_EQ(seenDuring(folder(), install),
              noData + please + "%.|" + noData + "." + please.substr(2) + "%|");
    EXPECT_FALSE(fs::exists(path()));
}

TEST_F(QVLaunchdTest, RemovesAJob) {
    constexpr auto grant = AuthorizationMode::grant, deny = AuthorizationMode::deny;
    const struct {
        bool protects, shouldAuth;
        AuthorizationMode mode;
        std::string more; // than the two commands that stop it
        bool stays;
    } cases[] = {
        {false, true, grant, "", false},
        {false, true, grant, "", false}, // nothing is there any more
        {true, false, grant, "", true},
        {false, true, deny, "Error: Unable to remove LaunchAgent" + please + folder() + ".|", true},
        {false, true, grant, "sudo /bin/rm -Rdf %|", false},
    };
    std::ofstream(path()) << "old";
    for (const auto& row : cases) {
        if (row.protects) {
            std::ofstream(path()) << "old";
            protect(folder());
        }
        recorder->authorization = row.mode;
        EXPECT_EQ(seenDuring(path(),
                             [&] {
                                 QVLaunchd::removeJob(label, {false, true, row.shouldAuth});
                             }),
                  stop + row.more);
        EXPECT_EQ(fs::exists(path()), row.stays);
    }
}

// The whole way as an ordinary user: polkit, the privileged helper, chown, launchctl.
TEST(QVLaunchdSystemTest, AJobFileBecomesTheSuperusersAndTheJobRunsForTheUser) {
    const TestUser user("user");
    if (!user.hasPolkit()) {
        GTEST_SKIP() << "needs the superuser and polkit";
    }
    const TemporaryDirectory directory;
    const auto folder = directory.path() + "/Library/LaunchAgents";
    const auto path = folder + "/" + label + ".plist";
    fs::create_directories(folder);
    fs::permissions(directory.path(), fs::perms(0777)); // the folders in it are the superuser's
    EXPECT_TRUE(user.run([&] {
        setenv("XDG_RUNTIME_DIR", user.home().c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "supervisor", 1);
        chmod(user.home().c_str(), 0700);
        Machine::install(
            std::make_shared<SandboxMachine>(directory.path(), AuthorizationMode::system));
        const auto becomes = [](const std::string& file, bool there) {
            for (int i = 0; i < 500 && fs::exists(file) != there; ++i) {
                usleep(10'000);
            }
            return fs::exists(file) == there;
        };
        const auto mark = user.home() + "/ran";
        const NSDictionary job{{"Label", label},
                               {"ProgramArguments", NSArray{"/usr/bin/touch", mark}},
                               {"RunAtLoad", true}};
        EXPECT_TRUE(QVLaunchd::startJob(label, {job, false, true, true}));
        struct stat status {};
        stat(path.c_str(), &status);
        EXPECT_EQ(status.st_uid + status.st_gid, 0U);
        EXPECT_EQ(status.st_mode & 07777, 0644U);
        EXPECT_TRUE(becomes(mark, true));
        QVLaunchd::removeJob(label, {false, true, true});
        EXPECT_TRUE(becomes(path, false));
    }));
}
