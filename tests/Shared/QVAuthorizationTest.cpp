#include "Shared/QVAuthorization.h"

#include "LogFixture.h"
#include "RecordingMachine.h"

#include <fstream>
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
    static bool exists(const std::string& file) { return fs::exists(fs::symlink_status(file)); }

    std::shared_ptr<RecordingMachine> recorder =
        std::make_shared<RecordingMachine>(directory.path(), clock);
    const std::string home = recorder->root() + "/Users/anna";
    const std::string trash = home + "/.Trash";
};

} // namespace

TEST_F(QVAuthorizationTest, FileOperationsOnRealFilesOfAnyName) {
    for (const uid_t user : {ordinary, superuser}) {
        recorder->userID = user;
        Controller controller;
        const auto folder = path("made/" + std::to_string(user));
        EXPECT_TRUE(controller.authCreateDir(folder));
        for (const std::string name : {"plain", "line\nfeed", "-rf", "\xff\xfe.txt", "ü'  \"$x"}) {
            const auto unique = std::to_string(user) + name;
            const auto file = make("from/" + name);
            const auto copy = folder + "/" + name;
            EXPECT_TRUE(controller.authCopyFile(file, copy));
            EXPECT_EQ(contentsOfFile(copy), "from/" + name);
            EXPECT_TRUE(controller.authMoveFile(copy, path(unique)));
            EXPECT_TRUE(exists(path(unique)) && !exists(copy)) << name;
            EXPECT_TRUE(controller.authTrashFile(path(unique)));
            EXPECT_TRUE(exists(trash + "/" + unique) && !exists(path(unique))) << name;
            EXPECT_TRUE(controller.authRemoveFile(file));
            EXPECT_FALSE(exists(file)) << name;
        }
        make("a/1"), make("a/2"), fs::create_directory(path("b"));
        EXPECT_TRUE(controller.authMoveFolderContents(path("a"), path("b")));
        EXPECT_TRUE(fs::is_empty(path("a")) && exists(path("b/1")) && exists(path("b/2")));
        EXPECT_TRUE(controller.authTrashFolderContents(path("b"), true));
        EXPECT_TRUE(fs::is_empty(path("b")));
        EXPECT_EQ(fs::remove(trash + "/1"), user == ordinary) << "the superuser deletes";
        fs::create_symlink(make("target"), path("link"));
        EXPECT_TRUE(controller.authCopyFile(path("link"), path("copy")));
        EXPECT_TRUE(fs::is_symlink(path("copy")));
        EXPECT_TRUE(controller.authRemoveFile(path("link")) && exists(path("target")));
        EXPECT_TRUE(controller.authRemoveFile(path("copy")) && !exists(path("copy")));
    }
    EXPECT_EQ(recorder->consoleLines(), Lines{});
}

TEST_F(QVAuthorizationTest, RefusesProtectedFoldersAndMissingPaths) {
    recorder->authorization = AuthorizationMode::deny;
    const auto a = make("a"), library = path("Library"), none = path("none");
    const auto message = [](const std::string& what, const std::string& where) {
        return "Unable to " + what + " path " + where + " because it is a system directory.";
    };
    const std::pair<std::function<bool(QVAuthorization&)>, std::string> cases[] = {
        {[&](auto& c) { return c.authMoveFile(library, a); }, message("move", library)},
        {[&](auto& c) { return c.authMoveFolderContents(home, a); },
         message("move contents of", home)},
        {[&](auto& c) { return c.authTrashFile(home + "/"); }, message("trash", home + "/")},
        {[&](auto& c) { return c.authTrashFolderContents("/"); },
         message("trash folder contents of", "/")},
        {[&](auto& c) { return c.authRemoveFile(home); }, message("delete", home)},
        {[&](auto& c) { return c.authCopyFile(a, std::nullopt); },
         "Error in authCopyFile: new path is null"},
        {[&](auto& c) { return c.authMoveFile(std::nullopt, std::nullopt); },
         "Error in authMoveFile: old path is null"},
        {[&](auto& c) { return c.authCopyFile(none, a); }, ""},
        {[&](auto& c) { return c.authTrashFile(none); }, ""},
    };
    for (const uid_t user : {ordinary, superuser}) {
        recorder->userID = user;
        Controller controller;
        for (const auto& [operation, line] : cases) {
            recorder->clearConsole();
            EXPECT_FALSE(operation(controller)) << line;
            EXPECT_EQ(recorder->consoleLines(), line.empty() ? Lines{} : Lines{line});
        }
    }
    EXPECT_EQ(recorder->launches(), Lines{});
}

TEST_F(QVAuthorizationTest, TwoThreadsThatAskShareOneAnswer) {
    Controller controller;
    EXPECT_FALSE(controller.isAuthorized());
    AuthorizationRef theirs = nullptr;
    std::thread other([&] {
        EXPECT_TRUE(controller.authStart());
        theirs = controller.authRef();
    });
    EXPECT_TRUE(controller.authStart());
    other.join();
    EXPECT_EQ(controller.authRef(), theirs);
    controller.authEnd();
    EXPECT_FALSE(controller.isAuthorized());
}

TEST_F(QVAuthorizationTest, RefusedRightsLeaveEverythingAsItWas) {
    recorder->authorization = AuthorizationMode::deny;
    Controller controller;
    const auto file = make("file");
    EXPECT_EQ(controller.authExecTask("/bin/rm", {file}), -1);
    EXPECT_FALSE(controller.authRemoveFile(file) || controller.authTrashFile(file) ||
                 controller.authMoveFile(file, path("b")) || controller.authCreateDir(path("d")));
    EXPECT_EQ(controller.authRef(), nullptr);
    EXPECT_EQ(recorder->consoleLines(), Lines{});
    EXPECT_TRUE(controller.canAuthorize());
    controller.setHasGUI(false);
    EXPECT_FALSE(controller.canAuthorize());
    EXPECT_FALSE(controller.authStart());
    EXPECT_EQ(recorder->consoleLines(), Lines{"Unable to authorize"});
    EXPECT_EQ(recorder->launches(), Lines{});
    EXPECT_FALSE(exists(trash));
}

TEST_F(QVAuthorizationTest, GivenCredentials) {
    QVLog::createNewLog("App");
    Controller controller;
    EXPECT_FALSE(controller.authStartWithUser(std::nullopt, "hidden"));
    EXPECT_FALSE(controller.authStartWithUser(std::string(300, 'a'), "hidden"));
    EXPECT_TRUE(controller.authStart());
    recorder->authorization = AuthorizationMode::deny;
    EXPECT_FALSE(controller.authStartWithUser("anna", "hidden"));
    EXPECT_FALSE(controller.isAuthorized()) << "rights already held are replaced";
    const std::string refusal = "Authorization failed. Invalid username or password";
    EXPECT_EQ(recorder->consoleLines(),
              (Lines{"Unable to create authRef - error -60001", refusal}));
    QVLog::finishWriting();
    const auto log = contentsOfFile(file(1)).value_or("");
    EXPECT_NE(log.find(refusal), std::string::npos) << log;
    EXPECT_EQ(log.find("hidden"), std::string::npos);
    recorder->authorization = AuthorizationMode::grant;
    EXPECT_TRUE(controller.authStartWithUser("anna", "hidden"));
}

TEST_F(QVAuthorizationTest, RunsTools) {
    recorder->waits = false;
    const auto done = path("done");
    const Lines slow{"-c", "sleep 0.1; : >'" + done + "'"};
    for (const uid_t user : {ordinary, superuser}) {
        recorder->userID = user;
        Controller controller;
        EXPECT_EQ(controller.authExecTask("/no/such/tool", {}), -2);
        EXPECT_EQ(recorder->consoleLines().back(),
                  "Unable to execute task: path /no/such/tool doesn't exist");
        EXPECT_EQ(controller.authExecTask("/bin/sh", slow, false), 0);
        EXPECT_TRUE(fs::remove(done)) << "was not waited for";
        EXPECT_EQ(controller.authExecTask("/bin/sh", slow), 0);
        EXPECT_FALSE(exists(done)) << "was waited for";
        // A real tool runs at its own pace.
        for (int i = 0; i < 2000 && !exists(done); ++i) {
            usleep(5000);
        }
        EXPECT_TRUE(fs::remove(done));
    }
    recorder->userID = ordinary;
    EXPECT_EQ(Controller().authExecTask(make("data"), {}), errAuthorizationToolExecuteFailure);
}

TEST_F(QVAuthorizationTest, NothingInTheTrashIsReplaced) {
    recorder->runs = false;
    Controller controller;
    const auto trashed = [&](const std::string& name) {
        EXPECT_TRUE(controller.authTrashFile(make(name)));
        return recorder->launches().at(0).substr(("sudo /bin/mv -f " + path(name)).size() + 1);
    };
    const auto first = trashed("0/file");
    const auto stamp = trashed("1/file").substr(first.size());
    EXPECT_EQ(stamp.size(), std::string("_20240102030405").size()) << stamp;
    for (const auto& [stem, extension] :
         {std::pair{"Report", ".pdf"}, {"README", ""}, {".profile", ""}, {"a.tar", ".gz"}}) {
        // None of the earlier moves has been carried out when the next one is asked for.
        for (const auto& suffix : {std::string(), stamp, stamp + "_2", stamp + "_3"}) {
            EXPECT_EQ(trashed("in" + suffix + "/" + stem + extension),
                      trash + "/" + stem + suffix + extension);
        }
    }
    // A dangling link in the trash is something, too; a file that left the trash again is not.
    fs::create_symlink("/none", trash + "/link");
    EXPECT_EQ(trashed("link"), trash + "/link" + stamp);
    fs::remove(path("in/README"));
    EXPECT_EQ(trashed("README"), trash + "/README");
}

TEST_F(QVAuthorizationTest, TheSuperuserNeedsNoRights) {
    recorder->userID = superuser;
    recorder->authorization = AuthorizationMode::deny;
    Controller controller;
    controller.setHasGUI(false);
    EXPECT_TRUE(controller.isAuthorized() && controller.canAuthorize() && controller.authStart());
    EXPECT_TRUE(controller.authStartWithUser(std::nullopt, std::nullopt));
    EXPECT_EQ(controller.authRef(), nullptr);
    setenv("TESSALINE_AUTHORIZATION", std::to_string(getppid()).c_str(), 1);
    EXPECT_NE(Controller().authRef(), nullptr) << "handed down by a privileged parent";
    unsetenv("TESSALINE_AUTHORIZATION");
}
