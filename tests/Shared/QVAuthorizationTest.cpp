#include "Shared/QVAuthorization.h"

#include "Shared/QVLog.h"
#include "support/TestMachine.h"

#include <filesystem>
#include <fstream>
#include <iomanip>
#include <set>
#include <sstream>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using Lines = std::vector<std::string>;

namespace {

constexpr uid_t ordinary = 501;
constexpr uid_t superuser = 0;

/// One that is not the process's own.
class Controller : public QVAuthorization {
public:
    Controller() { init(); }
};

class EndedProcess : public LaunchedProcess {
public:
    pid_t processIdentifier() const override { return 1; }
    bool isRunning() override { return false; }
    int terminationStatus() override { return 0; }
    void signal(int) override {}
    void waitUntilExit() override {}
};

/// Notes what is launched, and counts how often rights are asked for.
class NotingMachine : public TestMachine {
public:
    using TestMachine::TestMachine;
    std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) override {
        std::string line = request.launchPath;
        for (const auto& argument : request.arguments) {
            line += " " + argument;
        }
        launches.push_back(line);
        return runs ? TestMachine::launch(request) : std::make_unique<EndedProcess>();
    }
    AuthorizationMode authorizationMode() const override {
        ++asked;
        return authorization;
    }

    bool runs = false;
    Lines launches;
    mutable std::atomic<int> asked{0};
};

class QVAuthorizationTest : public MachineTest {
protected:
    QVAuthorizationTest() { Machine::install(noting); }

    std::string path(const std::string& name) const { return noting->root() + "/" + name; }
    std::string make(const std::string& name) const {
        fs::create_directories(fs::path(path(name)).parent_path());
        std::ofstream(path(name)) << name;
        return path(name);
    }
    static std::string contentOf(const std::string& file) {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    static bool exists(const std::string& file) { return fs::exists(fs::symlink_status(file)); }
    /// Real tools run at their own pace.
    static bool becomes(const std::function<bool()>& state) {
        for (int i = 0; i < 2000; ++i) {
            if (state()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return false;
    }

    std::shared_ptr<NotingMachine> noting =
        std::make_shared<NotingMachine>(directory.path(), clock);
    const std::string home = noting->root() + "/Users/anna";
    const std::string trash = home + "/.Trash";
};

} // namespace

TEST_F(QVAuthorizationTest, FileOperationsOnRealFilesOfAnyName) {
    noting->runs = true;
    const Lines names{"plain", "two  blanks", "line\nfeed", "-rf", "\xff\xfe.txt", "ü'\"$x"};
    for (const uid_t user : {ordinary, superuser}) {
        noting->userID = user;
        Controller controller;
        for (const auto& name : names) {
            const auto suffix = std::to_string(user) + name;
            const auto file = make("from/" + name);
            const auto folder = path("copies/" + std::to_string(user));
            const auto copy = folder + "/" + name;
            const auto moved = path("moved " + suffix);
            const auto trashed = trash + "/moved " + suffix;
            EXPECT_TRUE(controller.authCreateDir(folder));
            EXPECT_TRUE(becomes([&] { return fs::is_directory(folder); }));
            EXPECT_TRUE(controller.authCopyFile(file, copy));
            EXPECT_TRUE(becomes([&] { return contentOf(copy) == "from/" + name; })) << name;
            EXPECT_TRUE(controller.authMoveFile(copy, moved));
            EXPECT_TRUE(becomes([&] { return exists(moved) && !exists(copy); })) << name;
            EXPECT_TRUE(controller.authTrashFile(moved));
            EXPECT_TRUE(becomes([&] { return exists(trashed) && !exists(moved); })) << name;
            EXPECT_TRUE(controller.authRemoveFile(file));
            EXPECT_TRUE(becomes([&] { return !exists(file); })) << name;
        }
        const auto target = make("target");
        fs::create_symlink(target, path("link"));
        EXPECT_TRUE(controller.authCopyFile(path("link"), path("copy")));
        EXPECT_TRUE(becomes([&] { return fs::is_symlink(path("copy")); }));
        EXPECT_TRUE(controller.authMoveFile(path("link"), path("moved")));
        EXPECT_TRUE(becomes([&] { return fs::is_symlink(path("moved")); }));
        EXPECT_TRUE(controller.authRemoveFile(path("moved")));
        EXPECT_TRUE(controller.authRemoveFile(path("copy")));
        EXPECT_TRUE(becomes([&] { return !exists(path("moved")) && !exists(path("copy")); }));
        EXPECT_EQ(contentOf(target), "target") << "a link's target was touched";
    }
    EXPECT_EQ(noting->consoleLines(), Lines{});
}

TEST_F(QVAuthorizationTest, RunsExactlyTheseCommands) {
    const auto a = make("folder/a");
    const auto b = make("folder/b");
    const auto c = make("c");
    const auto folder = path("folder");
    struct Case {
        std::function<bool(QVAuthorization&)> operation;
        Lines asUser;
        Lines asSuperuser; // where it is not the same
    };
    const std::vector<Case> cases{
        {[&](auto& auth) { return auth.authCopyFile(a, "/to"); },
         {"/bin/cp -f -p -R " + a + " /to"},
         {}},
        {[&](auto& auth) { return auth.authMoveFile(a, "/Library"); },
         {"/bin/mv -f " + a + " /Library"},
         {}},
        {[&](auto& auth) { return auth.authMoveFolderContents(folder, "/to"); },
         {"/bin/mv -f " + a + " /to/a", "/bin/mv -f " + b + " /to/b"},
         {}},
        {[&](auto& auth) { return auth.authMoveFolderContents(path("none"), "/to"); }, {}, {}},
        {[&](auto& auth) { return auth.authRemoveFile(a); }, {"/bin/rm -Rdf " + a}, {}},
        {[&](auto& auth) { return auth.authCreateDir("/Library"); },
         {"/bin/mkdir -p /Library"},
         {}},
        {[&](auto& auth) { return auth.authTrashFile(c, true); },
         {"/bin/mv -f " + c + " " + trash + "/c"},
         {"/bin/rm -Rdf " + c}},
        {[&](auto& auth) { return auth.authTrashFolderContents(folder, true); },
         {"/bin/mv -f " + a + " " + trash + "/a", "/bin/mv -f " + b + " " + trash + "/b"},
         {"/bin/rm -R -f " + a, "/bin/rm -R -f " + b}},
    };
    for (const uid_t user : {ordinary, superuser}) {
        noting->userID = user;
        Controller controller;
        for (const auto& [operation, asUser, asSuperuser] : cases) {
            noting->launches.clear();
            EXPECT_TRUE(operation(controller));
            EXPECT_EQ(noting->launches,
                      user == superuser && !asSuperuser.empty() ? asSuperuser : asUser);
        }
    }
}

TEST_F(QVAuthorizationTest, RefusesProtectedFoldersAndMissingPaths) {
    const auto library = path("Library");
    const auto a = make("a");
    const auto none = path("none");
    const auto message = [](const std::string& what, const std::string& where) {
        return "Unable to " + what + " path " + where + " because it is a system directory.";
    };
    const std::vector<std::pair<std::function<bool(QVAuthorization&)>, std::string>> cases{
        {[&](auto& c) { return c.authMoveFile(library, a); }, message("move", library)},
        {[&](auto& c) { return c.authMoveFolderContents(home, a); },
         message("move contents of", home)},
        {[&](auto& c) { return c.authTrashFile(home + "/"); }, message("trash", home + "/")},
        {[&](auto& c) { return c.authTrashFile(home, true); }, message("trash", home)},
        {[&](auto& c) { return c.authTrashFolderContents("/"); },
         message("trash folder contents of", "/")},
        {[&](auto& c) { return c.authRemoveFile(home); }, message("delete", home)},
        {[&](auto& c) { return c.authCopyFile(std::nullopt, a); },
         "Error in authCopyFile: old path is null"},
        {[&](auto& c) { return c.authCopyFile(a, std::nullopt); },
         "Error in authCopyFile: new path is null"},
        {[&](auto& c) { return c.authMoveFile(std::nullopt, std::nullopt); },
         "Error in authMoveFile: old path is null"},
        {[&](auto& c) { return c.authMoveFile(a, std::nullopt); },
         "Error in authMoveFile: new path is null"},
        {[&](auto& c) { return c.authCopyFile(none, a); }, ""},
        {[&](auto& c) { return c.authMoveFile(none, a); }, ""},
        {[&](auto& c) { return c.authTrashFile(none); }, ""},
    };
    for (const uid_t user : {ordinary, superuser}) {
        noting->userID = user;
        Controller controller;
        for (const auto& [operation, line] : cases) {
            noting->clearConsole();
            EXPECT_FALSE(operation(controller)) << line;
            EXPECT_EQ(noting->consoleLines(), line.empty() ? Lines{} : Lines{line});
        }
    }
    EXPECT_EQ(noting->launches, Lines{});
    EXPECT_EQ(noting->asked, 0) << "a refusal needs no rights";
}

TEST_F(QVAuthorizationTest, AsksOnceAlsoWhenTwoThreadsAsk) {
    Controller controller;
    EXPECT_FALSE(controller.isAuthorized());
    EXPECT_TRUE(controller.canAuthorize());
    std::thread other([&] { EXPECT_TRUE(controller.authStart()); });
    EXPECT_TRUE(controller.authStart());
    other.join();
    EXPECT_TRUE(controller.isAuthorized());
    EXPECT_TRUE(controller.authCreateDir(path("a")));
    EXPECT_EQ(noting->asked, 1);
    controller.authEnd();
    EXPECT_FALSE(controller.isAuthorized());
}

TEST_F(QVAuthorizationTest, RefusedRightsLeaveEverythingAsItWas) {
    noting->runs = true;
    noting->authorization = AuthorizationMode::deny;
    Controller controller;
    const auto file = make("file");
    EXPECT_FALSE(controller.authStart());
    EXPECT_EQ(controller.authExecTask("/bin/rm", {file}), -1);
    EXPECT_FALSE(controller.authRemoveFile(file));
    EXPECT_FALSE(controller.authTrashFile(file));
    EXPECT_FALSE(controller.authMoveFile(file, path("b")));
    EXPECT_FALSE(controller.authCreateDir(path("d")));
    EXPECT_EQ(controller.authRef(), nullptr);
    EXPECT_EQ(noting->consoleLines(), Lines{});
    controller.setHasGUI(false);
    EXPECT_FALSE(controller.canAuthorize());
    EXPECT_FALSE(controller.authStart());
    EXPECT_EQ(noting->consoleLines(), Lines{"Unable to authorize"});
    EXPECT_EQ(noting->launches, Lines{});
    EXPECT_FALSE(exists(trash));
}

TEST_F(QVAuthorizationTest, GivenCredentials) {
    QVLog::createNewLog("Authorization");
    Controller controller;
    EXPECT_FALSE(controller.authStartWithUser(std::nullopt, "hidden"));
    EXPECT_FALSE(controller.authStartWithUser("anna", std::nullopt));
    EXPECT_EQ(noting->consoleLines(), Lines{});
    EXPECT_FALSE(controller.authStartWithUser(std::string(300, 'a'), "hidden"));
    EXPECT_TRUE(controller.authStart());
    noting->authorization = AuthorizationMode::deny;
    EXPECT_FALSE(controller.authStartWithUser("anna", "hidden"));
    EXPECT_FALSE(controller.isAuthorized()) << "rights already held are replaced";
    const std::string refusal = "Authorization failed. Invalid username or password";
    EXPECT_EQ(noting->consoleLines(), (Lines{"Unable to create authRef - error -60001", refusal}));
    QVLog::finishWriting();
    QVLog::sharedController().setFileHandle(nullptr);
    std::string log;
    for (const auto& entry : fs::recursive_directory_iterator(home + "/Library/Logs")) {
        log += entry.is_regular_file() ? contentOf(entry.path()) : "";
    }
    EXPECT_NE(log.find(refusal), std::string::npos);
    EXPECT_EQ(log.find("hidden"), std::string::npos);
    noting->authorization = AuthorizationMode::grant;
    EXPECT_TRUE(controller.authStartWithUser("anna", "hidden"));
    EXPECT_NE(controller.authRef(), nullptr);
}

TEST_F(QVAuthorizationTest, RunsTools) {
    noting->runs = true;
    const auto done = path("done");
    const Lines slow{"-c", "sleep 0.1; : >'" + done + "'"};
    for (const uid_t user : {ordinary, superuser}) {
        noting->userID = user;
        Controller controller;
        EXPECT_EQ(controller.authExecTask("/no/such/tool", {}), -2);
        EXPECT_EQ(noting->consoleLines().back(),
                  "Unable to execute task: path /no/such/tool doesn't exist");
        EXPECT_EQ(controller.authExecTask("/bin/sh", slow, false), 0);
        EXPECT_TRUE(fs::remove(done)) << "was not waited for";
        EXPECT_EQ(controller.authExecTask("/bin/sh", slow), 0);
        EXPECT_FALSE(exists(done)) << "was waited for";
        EXPECT_TRUE(becomes([&] { return fs::remove(done); }));
        EXPECT_EQ(controller.authRef() == nullptr, user == superuser);
    }
    noting->userID = ordinary;
    EXPECT_EQ(Controller().authExecTask(make("data"), {}), errAuthorizationToolExecuteFailure);
}

TEST_F(QVAuthorizationTest, NothingInTheTrashIsReplaced) {
    Controller controller;
    const auto now = std::chrono::system_clock::to_time_t(clock->date());
    std::ostringstream time;
    time << std::put_time(std::localtime(&now), "_%Y%m%d%H%M%S");
    const auto stamp = time.str();
    const std::vector<std::pair<std::string, std::string>> names{
        {"Report", ".pdf"}, {"README", ""}, {".profile", ""}, {"a.tar", ".gz"}};
    for (const auto& [stem, extension] : names) {
        // None of the earlier moves has been carried out when the next one is asked for.
        for (const auto& suffix : {std::string(), stamp, stamp + "_2", stamp + "_3"}) {
            const auto file = make("in" + suffix + "/" + stem + extension);
            EXPECT_TRUE(controller.authTrashFile(file));
            EXPECT_EQ(noting->launches.back(),
                      "/bin/mv -f " + file + " " + trash + "/" + stem + suffix + extension);
        }
    }
    // A dangling link in the trash is something, too; a file that left the trash again is not.
    fs::create_symlink("/none", trash + "/link");
    EXPECT_TRUE(controller.authTrashFile(make("link")));
    EXPECT_EQ(noting->launches.back(),
              "/bin/mv -f " + path("link") + " " + trash + "/link" + stamp);
    fs::remove(path("in/README"));
    EXPECT_TRUE(controller.authTrashFile(make("README")));
    EXPECT_EQ(noting->launches.back(), "/bin/mv -f " + path("README") + " " + trash + "/README");
}

TEST_F(QVAuthorizationTest, TenThousandEntries) {
    constexpr std::size_t count = 10'000;
    const auto folder = path("many");
    fs::create_directory(folder);
    for (std::size_t i = 0; i < count; ++i) {
        std::ofstream(folder + "/" + std::to_string(i));
    }
    Controller controller;
    EXPECT_TRUE(controller.authMoveFolderContents(folder, "/to"));
    EXPECT_EQ(noting->launches.size(), count);
    EXPECT_TRUE(controller.authTrashFolderContents(folder));
    const std::set<std::string> different(noting->launches.begin(), noting->launches.end());
    EXPECT_EQ(different.size(), 2 * count);
}

TEST_F(QVAuthorizationTest, TheOneInstance) {
    // In a process of its own, where none has been asked for yet.
    const pid_t child = fork();
    if (child == 0) {
        auto& shared = QVAuthorization::sharedController(false);
        EXPECT_FALSE(shared.hasGUI());
        EXPECT_EQ(&QVAuthorization::sharedController(), &shared);
        EXPECT_FALSE(shared.hasGUI());
        EXPECT_EQ(&shared.copyWithZone().retain().autorelease(), &shared);
        shared.release();
        EXPECT_EQ(QVAuthorization::allocWithZone(), nullptr);
        _exit(HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST_F(QVAuthorizationTest, TheSuperuserNeedsNoRights) {
    noting->userID = superuser;
    noting->authorization = AuthorizationMode::deny;
    Controller controller;
    controller.setHasGUI(false);
    EXPECT_TRUE(controller.isAuthorized());
    EXPECT_TRUE(controller.canAuthorize());
    EXPECT_TRUE(controller.authStart());
    EXPECT_TRUE(controller.authStartWithUser(std::nullopt, std::nullopt));
    EXPECT_EQ(controller.authRef(), nullptr);
    setenv("TESSALINE_AUTHORIZATION", std::to_string(getppid()).c_str(), 1);
    EXPECT_NE(Controller().authRef(), nullptr) << "handed down by a privileged parent";
    unsetenv("TESSALINE_AUTHORIZATION");
}
