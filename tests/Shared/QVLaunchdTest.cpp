#include "Shared/QVLaunchd.h"

#include "AppKit/NSAlert.h"
#include "AppKit/NSApplication.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "Shared/QVAuthorization.h"
#include "support/PolkitFixture.h"
#include "support/TestMachine.h"

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

/// Notes every program that is started, by its path inside the sandbox, with "sudo" before those
/// that run with administrator rights.
class RecordingMachine : public TestMachine {
public:
    using TestMachine::TestMachine;

    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override {
        // A privileged tool has nobody's input; the others have this process's own.
        const bool isPrivileged = request.standardInput > STDIN_FILENO;
        auto line = isPrivileged ? std::string("sudo ") : std::string();
        line += request.launchPath.substr(root().size());
        for (const auto& argument : request.arguments) {
            line += " " + argument;
        }
        {
            std::lock_guard lock(mutex);
            commands.push_back(line);
        }
        auto process = TestMachine::launch(request);
        if (isPrivileged) {
            process->waitUntilExit(); // nobody else does
        }
        return process;
    }
    Lines recorded() const {
        std::lock_guard lock(mutex);
        return commands;
    }

private:
    mutable std::mutex mutex;
    Lines commands;
};

/// Takes from the superuser's threads what lets them write where the mode forbids it, as long as it
/// lives. Programs that they start have it again.
class WithoutOverride {
public:
    WithoutOverride() { change(false); }
    ~WithoutOverride() { change(true); }
    WithoutOverride(const WithoutOverride&) = delete;
    WithoutOverride& operator=(const WithoutOverride&) = delete;

private:
    static void change(bool effective) {
        __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
        std::array<__user_cap_data_struct, 2> data{};
        syscall(SYS_capget, &header, data.data());
        constexpr unsigned overrides = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;
        data[0].effective =
            (data[0].effective & ~overrides) | (effective ? data[0].permitted & overrides : 0);
        syscall(SYS_capset, &header, data.data());
    }
};

class QVLaunchdTest : public MachineTest {
protected:
    QVLaunchdTest() {
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        NSApp();
        Machine::install(recorder);
        for (const char* tool :
             {"/bin/launchctl", "/usr/bin/killall", "/usr/sbin/chown", "/bin/chmod"}) {
            addTool(tool, "");
        }
        for (const std::string tool : {"/bin/mv", "/bin/rm"}) {
            addTool(tool, "chmod u+w '" + folder() + "'; exec " + tool + " \"$@\"");
        }
        fs::create_directories(folder());
        recorder->temporaryDirectory();
    }
    ~QVLaunchdTest() override {
        setWritable(folder(), true);
        setWritable(recorder->temporaryDirectory(), true);
        QVAuthorization::sharedController().authEnd();
    }

    std::string folder() const { return recorder->root() + "/Library/LaunchAgents"; }
    std::string path() const { return folder() + "/" + label + ".plist"; }
    std::string temporary() const {
        return recorder->temporaryDirectory() + "/" + label + ".plist";
    }
    static void setWritable(const std::string& place, bool writable) {
        fs::permissions(place, fs::perms::owner_write,
                        writable ? fs::perm_options::add : fs::perm_options::remove);
    }
    void renewRecorder() {
        recorder = std::make_shared<RecordingMachine>(directory.path(), clock);
        Machine::install(recorder);
    }
    void putOldFile() const { std::ofstream(path()) << "old"; }

    /// Works on a thread of its own, presses the button of every alert, and says what was seen: the
    /// commands, the alerts, the console.
    Lines seenDuring(const std::function<void()>& work) {
        Lines alerts;
        bool done = false;
        NSThread::detachNewThread([&] {
            const auto before = clock->seconds();
            work();
            elapsed = clock->seconds() - before;
            performOnMainThread([&done] { done = true; }, true);
        });
        NSRunLoop::mainRunLoop().runUntil([&] {
            while (!NSAlert::shownAlerts().empty()) {
                const auto* alert = NSAlert::shownAlerts().front();
                alerts.push_back("ALERT " + alert->messageText() + " / " +
                                 alert->informativeText());
                alert->buttonWithTitle("OK")->click();
            }
            return done;
        });
        auto seen = recorder->recorded();
        seen.insert(seen.end(), alerts.begin(), alerts.end());
        for (const auto& line : recorder->consoleLines()) {
            seen.push_back("LOG " + line);
        }
        return seen;
    }

    std::shared_ptr<RecordingMachine> recorder =
        std::make_shared<RecordingMachine>(directory.path(), clock);
    const WithoutOverride withoutOverride;
    double elapsed = 0; // by the virtual clock, during the last work

private:
    void addTool(const std::string& tool, const std::string& script) const {
        const auto place = recorder->root() + tool;
        fs::create_directories(fs::path(place).parent_path());
        std::ofstream(place) << "#!/bin/sh\n" << script << "\n";
        fs::permissions(place, fs::perms::owner_all);
    }
};

} // namespace

TEST_F(QVLaunchdTest, InstallsIntoAFolderThatItMayWrite) {
    struct Case {
        bool user, launchAgent, shouldAuth;
        std::optional<std::string> kill;
        std::string commands; // with % for the job file
    };
    const std::string tail = "/bin/launchctl unload %|/bin/launchctl load %|";
    const std::string own = "/usr/sbin/chown root:wheel %|", mode = "/bin/chmod 644 %|";
    const std::string old = "/bin/launchctl unload %|/bin/launchctl remove " + label + "|";
    const Case cases[] = {
        {false, true, false, "Tolvin", "/usr/bin/killall Tolvin|" + own + mode + tail},
        {false, true, true, std::nullopt, old + "sudo " + own + "sudo " + mode + tail},
        {true, true, false, std::nullopt, mode + tail},
        {true, true, true, "X", old + "/usr/bin/killall X|sudo " + mode + tail},
        {false, false, false, std::nullopt, own + mode + tail},
    };
    for (const auto& row : cases) {
        renewRecorder();
        const auto file = (row.user ? recorder->homeDirectory() : recorder->root()) + "/Library/" +
                          (row.launchAgent ? "LaunchAgents/" : "LaunchDaemons/") + label + ".plist";
        const auto seen = seenDuring([&] {
            EXPECT_TRUE(QVLaunchd::startJob(label, {.settings = settings,
                                                    .user = row.user,
                                                    .launchAgent = row.launchAgent,
                                                    .shouldAuth = row.shouldAuth,
                                                    .killProcessName = row.kill}));
        });
        std::string commands;
        for (auto line : seen) {
            const auto place = line.find(file);
            commands += (place == line.npos ? line : line.replace(place, file.size(), "%")) + "|";
        }
        EXPECT_EQ(commands, row.commands);
        EXPECT_NEAR(elapsed, row.shouldAuth ? 1.0005 : 0, 1e-6);
        EXPECT_EQ(dictionaryWithContentsOfFile(file), settings);
    }
}

TEST_F(QVLaunchdTest, InstallsWithRightsWhereItMayNotWrite) {
    putOldFile();
    setWritable(folder(), false);
    EXPECT_EQ(seenDuring([&] { EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, false)); }),
              (Lines{"/bin/launchctl unload " + path(), "/bin/launchctl remove " + label,
                     "sudo /bin/rm -Rdf " + path(), "sudo /bin/mv -f " + temporary() + " " + path(),
                     "sudo /usr/sbin/chown root:wheel " + path(), "sudo /bin/chmod 644 " + path(),
                     "/bin/launchctl unload " + path(), "/bin/launchctl load " + path(),
                     "LOG Unable to write plist - trying to authorize..."}));
    // After the failed and the privileged delete, the move, and between and after owner and mode.
    EXPECT_NEAR(elapsed, 0.0005 + 0.0005 + 1 + 0.0005 + 1, 1e-6);
    EXPECT_EQ(dictionaryWithContentsOfFile(path()), settings);
    EXPECT_FALSE(fs::exists(temporary()));
}

TEST_F(QVLaunchdTest, ToldWhyAJobCannotBeInstalled) {
    const auto please = "Please check you have correct permissions for the directory " + folder();
    setWritable(folder(), false);
    recorder->authorization = AuthorizationMode::deny;
    const auto install = [&] {
        EXPECT_FALSE(QVLaunchd::startJob(label, {.settings = settings,
                                                 .launchAgent = true,
                                                 .shouldAuth = true,
                                                 .killProcessName = "Tolvin"}));
    };
    const Lines refused = {"ALERT Error: Unable to create LaunchAgent / " + please + ".",
                           "LOG Unable to write plist - trying to authorize...",
                           "LOG Error: Unable to create LaunchAgent. " + please};
    EXPECT_EQ(seenDuring(install), refused);
    EXPECT_FALSE(fs::exists(temporary()));

    recorder->clearConsole();
    setWritable(recorder->temporaryDirectory(), false);
    EXPECT_EQ(seenDuring(install),
              (Lines{"ALERT Error: Unable to write LaunchAgent data / " + please + ".",
                     "LOG Error: Unable to write LaunchAgent data. " + please}));
    EXPECT_FALSE(fs::exists(path()));
}

TEST_F(QVLaunchdTest, RemovesAJob) {
    struct Case {
        bool isThere, writable, shouldAuth;
        AuthorizationMode mode;
        std::string more; // than the two commands that stop it
        bool stays;
    };
    constexpr auto grant = AuthorizationMode::grant, deny = AuthorizationMode::deny;
    const Case cases[] = {
        {false, true, true, grant, "", false},
        {true, true, true, grant, "", false},
        {true, false, false, grant, "", true},
        {true, false, true, deny,
         "ALERT Error: Unable to remove LaunchAgent / Please check you have correct permissions "
         "for the directory " +
             folder() + ".",
         true},
        {true, false, true, grant, "sudo /bin/rm -Rdf " + path(), false},
    };
    for (const auto& row : cases) {
        setWritable(folder(), true);
        fs::remove(path());
        renewRecorder();
        recorder->authorization = row.mode;
        if (row.isThere) {
            putOldFile();
        }
        setWritable(folder(), row.writable);
        Lines expected = {"/bin/launchctl unload " + path(), "/bin/launchctl remove " + label};
        if (!row.more.empty()) {
            expected.push_back(row.more);
        }
        EXPECT_EQ(seenDuring([&] {
                      QVLaunchd::removeJob(label,
                                           {.launchAgent = true, .shouldAuth = row.shouldAuth});
                  }),
                  expected);
        EXPECT_EQ(fs::exists(path()), row.stays);
    }
}

TEST_F(QVLaunchdTest, TheConvenienceFormsHonourTheirUser) {
    const auto own = recorder->homeDirectory() + "/Library/LaunchAgents/" + label + ".plist";
    EXPECT_EQ(seenDuring([&] {
                  EXPECT_TRUE(QVLaunchd::startLaunchAgent(label, settings, true));
                  QVLaunchd::removeLaunchAgent(label, true);
                  EXPECT_FALSE(fs::exists(own));
                  QVLaunchd::removeLaunchAgent(label, false);
              }),
              (Lines{"/bin/chmod 644 " + own, "/bin/launchctl unload " + own,
                     "/bin/launchctl load " + own, "/bin/launchctl unload " + own,
                     "/bin/launchctl remove " + label, "/bin/launchctl unload " + path(),
                     "/bin/launchctl remove " + label}));
}

// The whole way as an ordinary user: polkit, the privileged helper, chown, launchctl.
class QVLaunchdSystemTest : public PolkitFixture {
protected:
    QVLaunchdSystemTest()
        : PolkitFixture(TOOLS_DIRECTORY "/authorization-helper",
                        BINARY_DIRECTORY "/packaging/com.quorvane.tessaline.policy") {}

    /// A disk whose Library is the superuser's, with the user's real home.
    class Disk : public SandboxMachine {
    public:
        Disk(const std::string& root, std::string home)
            : SandboxMachine(root, AuthorizationMode::system), home(std::move(home)) {}
        std::string homeDirectory() const override { return home; }

    private:
        const std::string home;
    };
    TemporaryDirectory directory;
};

TEST_F(QVLaunchdSystemTest, AJobFileBecomesTheSuperusersAndTheJobRunsForTheUser) {
    const auto folder = directory.path() + "/Library/LaunchAgents";
    const auto path = folder + "/" + label + ".plist";
    fs::create_directories(folder);
    fs::permissions(directory.path(), fs::perms(0755));
    EXPECT_TRUE(user().run([&] {
        setenv("XDG_RUNTIME_DIR", user().home().c_str(), 1);
        setenv("TESSALINE_LAUNCHD_ENGINE", "supervisor", 1);
        chmod(user().home().c_str(), 0700);
        Machine::install(std::make_shared<Disk>(directory.path(), user().home()));
        const auto mark = user().home() + "/ran";
        const NSDictionary job{{"Label", label},
                               {"ProgramArguments", NSArray{"/usr/bin/touch", mark}},
                               {"RunAtLoad", true}};
        EXPECT_TRUE(QVAuthorization::sharedController().authStart());
        EXPECT_TRUE(
            QVLaunchd::startJob(label, {.settings = job, .launchAgent = true, .shouldAuth = true}));
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, 0U);
        EXPECT_EQ(status.st_gid, 0U);
        EXPECT_EQ(status.st_mode & 07777, 0644U);
        for (int i = 0; i < 500 && !fs::exists(mark); ++i) {
            usleep(10'000);
        }
        EXPECT_TRUE(fs::exists(mark));
        QVLaunchd::removeJob(label, {.launchAgent = true, .shouldAuth = true});
        for (int i = 0; i < 500 && fs::exists(path); ++i) {
            usleep(10'000);
        }
        EXPECT_FALSE(fs::exists(path));
        EXPECT_NE(std::system(TOOLS_DIRECTORY "/launchctl remove com.example.job 2>/dev/null"), 0);
    }));
}
