#include "Shared/QVLocalPaths.h"

#include "support/TestMachine.h"

namespace {

using Path = QVLocalPaths::Path;

class QVLocalPathsTest : public MachineTest {
protected:
    const std::string root = machine->root();
    const std::string anna = root + "/Users/anna";
};

/// A machine whose folders lie where the system's own do.
class PlainMachine : public TestMachine {
public:
    using TestMachine::TestMachine;
    std::string root() const override { return ""; }
    std::string homeDirectory() const override { return "/Users/" + user; }
    std::optional<std::string> homeDirectoryForUser(const std::string& name) const override {
        return "/Users/" + name;
    }
};

TEST_F(QVLocalPathsTest, FoldersOfTheUserAndOfTheMachine) {
    const std::vector<std::pair<Path (*)(bool), std::string>> folders{
        {QVLocalPaths::applicationDirectory, "/Applications"},
        {QVLocalPaths::adminApplicationDirectory, "/Applications/Utilities"},
        {QVLocalPaths::documentDirectory, "/Documents"},
        {QVLocalPaths::libraryDirectory, "/Library"},
        {QVLocalPaths::prefsDirectory, "/Library/Preferences"},
        {QVLocalPaths::cacheDirectory, "/Library/Caches"},
        {QVLocalPaths::appSupportDirectory, "/Library/Application Support"},
        {QVLocalPaths::logDirectory, "/Library/Logs"}};
    for (const uid_t userID : {501U, 0U}) {
        machine->userID = userID;
        machine->user = userID == 0 ? "root" : "anna";
        for (const auto& [lookup, place] : folders) {
            EXPECT_EQ(lookup(true), anna + place) << userID;
            EXPECT_EQ(lookup(false), place == "/Documents" ? Path() : Path(root + place));
        }
        EXPECT_EQ(QVLocalPaths::desktopDirectory(), anna + "/Desktop");
        EXPECT_EQ(QVLocalPaths::movieDirectory(), anna + "/Movies");
        EXPECT_EQ(QVLocalPaths::trashDirectory(), anna + "/.Trash");
    }
    EXPECT_EQ(QVLocalPaths::systemLibraryDirectory(), root + "/System/Library");
    EXPECT_EQ(QVLocalPaths::localDocumentationDirectory(), root + "/Library/Documentation");
    EXPECT_FALSE(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::desktop, 2));
    EXPECT_EQ(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::library, 3),
              "/var/root/Library")
        << "only the user domain alone is the console user's";
}

TEST_F(QVLocalPathsTest, TheSuperuserWorksForTheConsoleUser) {
    machine->consoleUserName = "berta";
    EXPECT_EQ(QVLocalPaths::username(), "anna");
    EXPECT_EQ(QVLocalPaths::userDirectory(), anna);
    EXPECT_EQ(QVLocalPaths::currentConsoleUser(), "berta");
    machine->userID = 0;
    EXPECT_EQ(QVLocalPaths::username(), "berta");
    EXPECT_EQ(QVLocalPaths::libraryDirectory(true), root + "/Users/berta/Library");
    for (const auto& nobody : {Path("loginwindow"), Path()}) {
        machine->consoleUserName = nobody;
        EXPECT_FALSE(QVLocalPaths::username() || QVLocalPaths::currentConsoleUser());
        EXPECT_EQ(QVLocalPaths::libraryDirectory(true), anna + "/Library") << "the process's own";
    }
}

TEST_F(QVLocalPathsTest, TemporaryFilesHaveFreshNames) {
    const std::string folder = QVLocalPaths::tempDirectory();
    const std::string file = QVLocalPaths::tempFile();
    EXPECT_EQ(std::filesystem::path(file).parent_path(), folder);
    EXPECT_GT(file.size(), folder.size() + 8);
    EXPECT_NE(QVLocalPaths::tempFile(), file);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(QVLocalPathsTest, ProtectedFolders) {
    machine = std::make_shared<PlainMachine>(directory.path(), clock);
    Machine::install(machine);
    const auto isProtected = QVLocalPaths::isPathSystemDirectory;
    for (const char* const path :
         {"/", "/Applications/", "/Applications/Utilities", "/Users/anna", "/Users/anna/Desktop",
          "/Users/anna/Documents", "/Users/anna/Library", "/Users/anna/Library/Caches/",
          "/Library/Preferences", "/Library/Documentation", "/System/Library", "/Users/Shared/",
          "/Volumes"}) {
        EXPECT_TRUE(isProtected(path, true) && isProtected(path, false)) << path;
    }
    for (const char* const path :
         {"/usr/local/bin", "/usrdata", "/Systems", "/var/root", "/private/var/x"}) {
        EXPECT_TRUE(!isProtected(path, true) && isProtected(path, false)) << path;
    }
    for (const char* const path :
         {"", "/a", "éé", "//", "/Applications//", "/applications", "/Applications/Tolvin.app",
          "/Users/anna/x", "/Users/anna/Documents/x", "/Users/anna/Library/Logs", "/Users/berta",
          "/Volumes/x", "/private/x", "/us", "x/usr"}) {
        EXPECT_FALSE(isProtected(path, true) || isProtected(path, false)) << path;
    }
    machine->userID = 0;
    machine->consoleUserName = "berta";
    EXPECT_TRUE(isProtected("/Users/berta/Library", true));
    EXPECT_FALSE(isProtected("/Users/anna/Library", true));
}

TEST_F(QVLocalPathsTest, BackupVolumes) {
    for (const char* const path :
         {"/Volumes/Backup/Backups.backupdb/host/Latest", "/Volumes/Backups.backupdb"}) {
        EXPECT_TRUE(QVLocalPaths::isPathOnTimeMachineVolume(path)) << path;
    }
    for (const char* const path : {"/Backups.backupdb/host", "/Volumes/Backup/Backups.backupdb2",
                                   "/Volumes", "Volumes/a/Backups.backupdb"}) {
        EXPECT_FALSE(QVLocalPaths::isPathOnTimeMachineVolume(path)) << path;
    }
}

} // namespace
