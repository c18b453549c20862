#include "Shared/QVAuthorization.h"

#include "LogFixture.h"
#include "RecordingMachine.h"
#include "support/RealTime.h"
#include "support/TestUser.h"
#include "System/FileReading.h"
#include "System/Machine.h"

#include <thread>

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

class QVAuthorizationTest : public WithLog<MachineTest> {
protected:
    QVAuthorizationTest() { Machine::install(recorder); }

    std::string path(const std::string& name) const { return recorder->root() + "/" + name; }
    std::string make(const std::string& name) const {
        fs::create_directories(fs::path(path(name)).parent_path());
        std::ofstream(path(name)) << name;
        return path(name);
    }
    static fs::file_type kind(const std::string& file) { return fs::symlink_status(file).type(); }

    std::shared_ptr<RecordingMachine> recorder =
        std::make_shared<RecordingMachine>(directory.path(), clock);
    const std::string home = recorder->root() + "/Users/anna", trash = home + "/.Trash";
};

} // namespace

TEST_F(QVAuthorizationTest, FileOperationsOnFilesFoldersAndLinksOfAnyName) {
    make("target/inside");
    for (const auto& [user, prefix] : {std::pair{ordinary, "user"}, {superuser, "root"}}) {
        recorder->userID = user;
        Controller controller;
        EXPECT_TRUE(controller.authCreateDir(path("made/folder")));
        for (const std::string name :
             {" a b ", "line\nfeed", "-rf", "\xff\xfe.txt", "ü'  \"$x", "link", "folder"}) {
            const auto original = path("from/" + name), copy = path("made/folder/" + name);
            if (name == "link") {
                fs::create_directory_symlink(path("target"), original);
            } else {
                make(name == "folder" ? "from/folder/-f" : "from/" + name);
            }
            const auto type = kind(original);
            const auto moved = path(prefix + name), trashed = trash + "/" + prefix + name;
            EXPECT_TRUE(controller.authCopyFile(original, copy));
            EXPECT_TRUE(controller.authMoveFile(copy, moved) && kind(moved) == type) << name;
            EXPECT_TRUE(controller.authTrashFile(moved) && kind(trashed) == type) << name;
            EXPECT_EQ(kind(original), type) << name;
            EXPECT_TRUE(controller.authRemoveFile(original)) << name;
        }
        EXPECT_TRUE(fs::is_empty(path("from")) && fs::is_empty(path("made/folder")));
        EXPECT_TRUE(controller.authTrashFile(make(prefix + std::string("last")), true));
        EXPECT_EQ(fs::exists(trash + "/" + prefix + "last"), user == ordinary);
    }
    EXPECT_EQ(contentsOfFile(path("target/inside")), "target/inside");
    EXPECT_EQ(recorder->consoleLines(), Lines{});
}

TEST_F(QVAuthorizationTest, RefusesProtectedFoldersAndMissingPaths) {
    recorder->authorization = AuthorizationMode::deny;
    const auto a = make("a"), library = path("Library"), none = path("none");
    const std::string end = " because it is a system directory.";
    const auto unmoved = "Unable to move path " + library + end;
    const auto refuses = [&](bool done, const std::string& line) {
        EXPECT_FALSE(done) << line;
        EXPECT_EQ(recorder->consoleLines(), line.empty() ? Lines{} : Lines{line});
        recorder->clearConsole();
    };
    for (const uid_t user : {ordinary, superuser}) {
        recorder->userID = user;
        Controller c;
        refuses(c.authMoveFile(library, a), unmoved);
        refuses(c.authMoveFolderContents(home, a), "Unable to move contents of path " + home + end);
        refuses(c.authTrashFile(home + "/"), "Unable to trash path " + home + "/" + end);
        refuses(c.authTrashFolderContents("/"), "Unable to trash folder contents of path /" + end);
        refuses(c.authRemoveFile(home), "Unable to delete path " + home + end);
        refuses(c.authCopyFile(a, std::nullopt), "Error in authCopyFile: new path is null");
        refuses(c.authMoveFile(std::nullopt, a), "Error in authMoveFile: old path is null");
        refuses(c.authExecTask(none, {}) != -2,
                "Unable to execute task: path " + none + " doesn't exist");
        refuses(c.authCopyFile(none, a) || c.authTrashFile(none), "");
        refuses(c.authMoveFile("/var/none", a), "");
    }
    EXPECT_EQ(recorder->launches(), Lines{});
}

TEST_F(QVAuthorizationTest, AsksOnceForAllThreadsAndTools) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "the helper works for the superuser alone";
    }
    recorder->waits = false;
    recorder->authorization = AuthorizationMode::system;
    recorder->makeTool("/usr/bin/pkexec", "echo $$ >" + path("helper") + "; exec \"$2\"");
    Controller controller;
    std::thread other([&] { EXPECT_TRUE(controller.authStart()); });
    EXPECT_TRUE(controller.authStart());
    other.join();
    for (const uid_t user : {superuser, ordinary}) {
        recorder->userID = user;
        for (const bool async : {false, true}) {
            const auto file = make(std::to_string(user));
            const Lines slow{"-c", "sleep 0.1; rm " + file};
            EXPECT_EQ(controller.authExecTask("/bin/sh", slow, async), 0);
            EXPECT_EQ(fs::exists(file), async) << "waited for unless asynchronous";
        }
    }
    EXPECT_EQ(recorder->launches().size(), 4U) << "two dialogs, and what the superuser ran";
    controller.authEnd();
    EXPECT_TRUE(ends(std::stoi(contentsOfFile(path("helper")).value_or("0"))));
}

// With sudo and su on a real machine.
TEST_F(QVAuthorizationTest, APasswordIsItsUsersOwnAndMustBeAnAdministrators) {
    const TestUser user("user"), administrator("admin");
    const std::string password = "secret of ünusual form '\"$x";
    if (access("/usr/bin/sudo", X_OK) != 0 || !user.prepare("password " + password) ||
        !administrator.prepare("password " + password)) {
        GTEST_SKIP() << "needs the superuser and sudo";
    }
    ASSERT_TRUE(administrator.prepare("usermod --append --groups sudo " + administrator.name()));
    recorder->waits = false;
    recorder->authorization = AuthorizationMode::system;
    const struct {
        const TestUser &process, &user;
        std::string password;
        bool works;
    } cases[] = {
        {administrator, administrator, password, true}, // with sudo
        {user, user, password, false},                  // no administrator
        {user, administrator, password, true},          // with su, then sudo
        {user, administrator, "wrong", false},
        {administrator, administrator, password + "\nand more", false},
    };
    for (const auto& each : cases) {
        recorder->user = each.process.name();
        EXPECT_TRUE(each.process.run([&] {
            const bool works = Controller().authStartWithUser(each.user.name(), each.password);
            EXPECT_EQ(works, each.works) << each.process.name() << " " << each.password;
        }));
    }
}

TEST_F(QVAuthorizationTest, RefusedRightsLeaveEverythingAsItWas) {
    QVLog::createNewLog("App");
    Controller controller;
    EXPECT_FALSE(controller.authStartWithUser(std::nullopt, "hidden"));
    EXPECT_FALSE(controller.authStartWithUser(std::string(300, 'a'), "hidden"));
    EXPECT_TRUE(controller.authStart() && controller.authStartWithUser("anna", "hidden"));
    recorder->authorization = AuthorizationMode::deny;
    EXPECT_FALSE(controller.authStartWithUser("anna", "hidden"));
    EXPECT_EQ(controller.authRef(), nullptr) << "rights already held are replaced";
    const auto file = make("file");
    make("folder/inside");
    EXPECT_EQ(controller.authExecTask("/bin/rm", {file}), -1);
    EXPECT_FALSE(controller.authRemoveFile(file) || controller.authTrashFile(file) ||
                 controller.authMoveFile(file, path("b")) || controller.authCreateDir(path("d")) ||
                 controller.authMoveFolderContents(path("folder"), path("b")));
    recorder->authorization = AuthorizationMode::grant;
    controller.setHasGUI(false);
    EXPECT_FALSE(controller.canAuthorize() || controller.authStart());
    const std::string refusal = "Authorization failed. Invalid username or password";
    EXPECT_EQ(recorder->consoleLines(),
              (Lines{"Unable to create authRef - error -60001", refusal, "Unable to authorize"}));
    EXPECT_EQ(recorder->launches(), Lines{});
    EXPECT_FALSE(fs::exists(trash));
    QVLog::finishWriting();
    EXPECT_EQ(messagesIn(this->file(1)), Lines{refusal});
    setenv("TESSALINE_AUTHORIZATION", std::to_string(getppid()).c_str(), 1);
    EXPECT_EQ(Controller().authRef(), nullptr);
    recorder->userID = superuser; // who needs none
    EXPECT_NE(Controller().authRef(), nullptr) << "handed down by a privileged parent";
    unsetenv("TESSALINE_AUTHORIZATION");
    EXPECT_TRUE(controller.isAuthorized() && controller.canAuthorize() && controller.authStart() &&
                controller.authStartWithUser(std::nullopt, std::nullopt));
}

TEST_F(QVAuthorizationTest, NothingInTheTrashIsReplaced) {
    recorder->tools["/bin/mv"] = "/bin/true";
    Controller controller;
    const auto trashed = [&](const std::string& name) {
        EXPECT_TRUE(controller.authTrashFile(make(name)));
        return recorder->launches().at(0).substr(("sudo /bin/true -f " + path(name)).size() + 1);
    };
    EXPECT_FALSE(controller.authTrashFile(path("none")) || fs::exists(trash));
    EXPECT_EQ(trashed("0/file"), trash + "/file");
    setenv("TZ", "East-9", 1);
    tzset();
    const std::string stamp = "_20261117054507";
    EXPECT_EQ(trashed("1/file"), trash + "/file" + stamp);
    // None of the earlier moves has been carried out when the next one is asked for.
    for (const auto& suffix : {std::string(), stamp, stamp + "_2", stamp + "_3"}) {
        EXPECT_EQ(trashed("in" + suffix + "/a.pdf"), trash + "/a" + suffix + ".pdf");
    }
    // A dangling link in the trash is something, too; a file that left the trash again is not.
    fs::create_symlink("/none", trash + "/link");
    EXPECT_EQ(trashed("link"), trash + "/link" + stamp);
    fs::remove(path("in/a.pdf"));
    EXPECT_EQ(trashed("a.pdf"), trash + "/a.pdf");
    unsetenv("TZ");
    tzset();
}
