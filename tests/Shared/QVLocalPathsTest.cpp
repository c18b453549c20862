#include "Shared/QVLocalPaths.h"

#include "support/TestMachine.h"

namespace {

using Path = QVLocalPaths::Path;

class QVLocalPathsTest : public MachineTest {
protected:
    const std::string root = machine->root();
    const std::string anna = root + "/Users/anna";
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
    const struct {
        uid_t userID;
        std::string user;
        Path consoleUser, name;
        std::string home;
    } users[] = {{501, "anna", "berta", "anna", anna},
                 {0, "root", "berta", "berta", root + "/Users/berta"},
                 {0, "anna", "loginwindow", {}, anna},
                 {0, "anna", {}, {}, anna}};
    for (const auto& each : users) {
        machine->userID = each.userID;
        machine->user = each.user;
        machine->consoleUserName = each.consoleUser;
        for (const auto& [lookup, place] : folders) {
            EXPECT_EQ(lookup(true), each.home + place) << each.userID;
            EXPECT_EQ(lookup(false), place == "/Documents" ? Path() : Path(root + place));
        }
        EXPECT_EQ(QVLocalPaths::username(), each.name);
        EXPECT_EQ(QVLocalPaths::userDirectory(), each.home);
        EXPECT_EQ(QVLocalPaths::desktopDirectory(), each.home + "/Desktop");
        EXPECT_EQ(QVLocalPaths::movieDirectory(), each.home + "/Movies");
        EXPECT_EQ(QVLocalPaths::trashDirectory(), each.home + "/.Trash");
    }
    EXPECT_FALSE(QVLocalPaths::currentConsoleUser());
    EXPECT_EQ(QVLocalPaths::systemLibraryDirectory(), root + "/System/Library");
    EXPECT_EQ(QVLocalPaths::localDocumentationDirectory(), root + "/Library/Documentation");
    EXPECT_FALSE(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::desktop, 2));
    EXPECT_EQ(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::library, 3),
              "/var/root/Library")
        << "only the user domain alone is the console user's";
}

TEST_F(QVLocalPathsTest, TemporaryFilesHaveFreshNames) {
    const std::string folder = QVLocalPaths::tempDirectory();
    const std::string file = QVLocalPaths::tempFile();
    EXPECT_EQ(std::filesystem::path(file).parent_path(), folder);
    EXPECT_GT(file.size(), folder.size() + 8);
    EXPECT_NE(QVLocalPaths::tempFile(), file);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(QVLocalPathsTest, TestsOfPaths) {
    const struct {
        bool isProtected, hasProtectedPrefix, isBackup;
        std::vector<std::string> paths;
    } cases[] = {
        {true,
         false,
         false,
         {"/", root + "/Applications/", root + "/Applications/Utilities", anna, anna + "/Desktop",
          anna + "/Documents", anna + "/Library", anna + "/Library/Caches/",
          root + "/Library/Preferences", root + "/Library/Documentation", root + "/System/Library",
          "/Users/Shared/", "/Volumes"}},
        {false,
         true,
         false,
         {"/usr/local/bin", "/usrdata", "/Systems", "/var/root", "/private/var/x"}},
        {false,
         false,
         false,
         {"", "/a", "éé", "//", root + "/Applications//", root + "/applications",
          root + "/Applications/Tolvin.app", anna + "/x", anna + "/Documents/x",
          anna + "/Library/Logs", root + "/Users/berta", "/Volumes/x", "/private/x", "/us", "x/usr",
          "/Backups.backupdb/host", "/Volumes/Backup/Backups.backupdb2",
          "Volumes/a/Backups.backupdb"}},
        {false,
         false,
         true,
         {"/Volumes/Backup/Backups.backupdb/host/Latest", "/Volumes/Backups.backupdb"}}};
    for (const auto& each : cases) {
        for (const auto& path : each.paths) {
            EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(path, true), each.isProtected) << path;
            EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(path),
                      each.isProtected || each.hasProtectedPrefix)
                << path;
            EXPECT_EQ(QVLocalPaths::isPathOnTimeMachineVolume(path), each.isBackup) << path;
        }
    }
}

} // namespace
