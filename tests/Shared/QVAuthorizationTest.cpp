#include "Shared/QVAuthorization.h"

#include "LogFixture.h"
#include "RecordingMachine.h"
#include "support/RealTime.h"

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
    static auto entries(const std::string& folder) {
        return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    }

    std::shared_ptr<RecordingMachine> recorder =
        std::make_shared<RecordingMachine>(directory.path(), clock);
    const std::string home = recorder->root() + "/Users/anna", trash = home + "/.Trash";
};

} // namespace

TEST_F(QVAuthorizationTest, FileOperationsOnFilesFoldersAndLinksOfAnyName) {
    make("target/inside");
    for (const uid_t user : {ordinary, superuser}) {
        recorder->userID = user;
        Controller controller;
        const auto folder = path("made/" + std::to_string(user));
        EXPECT_TRUE(controller.authCreateDir(folder));
        for (const std::string name :
             {" a b ", "line\nfeed", "-rf", "\xff\xfe.txt", "ü'  \"$x", "link", "folder"}) {
            auto original = path("from/" + name);
            if (name == "link") {
                fs::create_directory_symlink(path("target"), original);
            } else {
                make(name == "folder" ? "from/folder/-f" : "from/" + name);
            }
            const auto type = kind(original);
            const auto copy = folder + "/" + name, moved = path(std::to_string(user) + name);
            EXPECT_TRUE(controller.authCopyFile(original, copy));
            EXPECT_EQ(kind(copy), type) << name;
            EXPECT_TRUE(controller.authMoveFile(copy, moved));
            EXPECT_TRUE(kind(moved) == type && kind(copy) == fs::file_type::not_found) << name;
            EXPECT_TRUE(controller.authTrashFile(moved));
            EXPECT_EQ(kind(trash + "/" + std::to_string(user) + name), type) << name;
            EXPECT_TRUE(controller.authRemoveFile(original));
            EXPECT_EQ(kind(original), fs::file_type::not_found) << name;
        }
    }
    EXPECT_EQ(contentsOfFile(path("target/inside")), "target/inside");
    EXPECT_EQ(recorder->consoleLines(), Lines{});
}

TEST_F(QVAuthorizationTest, FoldersOfAnyNumberOfEntries) {
    recorder->waits = false;
    for (const auto& [user, count] : {std::pair{superuser, 10'000}, {ordinary, 1'000}}) {
        recorder->userID = user;
        Controller controller;
        const auto from = path("from"), to = path("to");
        fs::create_directory(from), fs::create_directory(to);
        EXPECT_TRUE(controller.authMoveFolderContents(from, to) &&
                    controller.authTrashFolderContents(from));
        for (int i = 0; i < count; ++i) {
            make("from/" + std::to_string(i));
        }
        EXPECT_TRUE(controller.authMoveFolderContents(from, to));
        EXPECT_TRUE(eventually([&] { return entries(to) == count; }));
        EXPECT_TRUE(controller.authTrashFolderContents(to, true));
        EXPECT_TRUE(eventually([&] { return fs::is_empty(to); }));
        EXPECT_EQ(fs::exists(trash), user == ordinary) << "the superuser deletes";
        EXPECT_TRUE(controller.authRemoveFile(from) && controller.authRemoveFile(to));
        EXPECT_TRUE(eventually([&] { return !fs::exists(from) && !fs::exists(to); }));
    }
    EXPECT_EQ(entries(trash), 1'000);
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

TEST_F(QVAuthorizationTest, AsksOnceForAllThreadsAndTools) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "the helper works for the superuser alone";
    }
    recorder->waits = false;
    recorder->authorization = AuthorizationMode::system;
    recorder->tools["/usr/bin/pkexec"] = make("pkexec");
    std::ofstream(path("pkexec")) << "#!/bin/sh\nexec \"$2\"";
    fs::permissions(path("pkexec"), fs::perms::owner_all);
    Controller controller;
    std::thread other([&] { EXPECT_TRUE(controller.authStart()); });
    EXPECT_TRUE(controller.authStart());
    other.join();
    EXPECT_TRUE(controller.authRemoveFile(make("file")));
    EXPECT_EQ(controller.authExecTask("/bin/true", {}, false), 0);
    EXPECT_EQ(recorder->launches().size(), 1U) << "all but the dialog is the helper's work";
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
    EXPECT_FALSE(controller.canAuthorize() || controller.authStart());
    EXPECT_EQ(recorder->consoleLines(), Lines{"Unable to authorize"});
    EXPECT_EQ(recorder->launches(), Lines{});
    EXPECT_FALSE(fs::exists(trash));
    recorder->userID = superuser; // who needs none
    EXPECT_TRUE(controller.isAuthorized() && controller.canAuthorize() && controller.authStart() &&
                controller.authStartWithUser(std::nullopt, std::nullopt));
    setenv("TESSALINE_AUTHORIZATION", std::to_string(getppid()).c_str(), 1);
    EXPECT_NE(Controller().authRef(), nullptr) << "handed down by a privileged parent";
    unsetenv("TESSALINE_AUTHORIZATION");
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
    EXPECT_EQ(messagesIn(file(1)), Lines{refusal});
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
        EXPECT_FALSE(fs::exists(done)) << "was waited for";
        EXPECT_TRUE(eventually([&] { return fs::remove(done); }));
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
