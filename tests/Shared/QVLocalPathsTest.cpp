#include "Shared/QVLocalPaths.h"

#include "support/TestMachine.h"

#include <fstream>

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
    const std::tuple<uid_t, Path, Path, std::string> users[] = {
        {501, "berta", "anna", anna},
        {0, "berta", "berta", root + "/Users/berta"},
        {0, "loginwindow", {}, anna}, // the process's own user
        {0, {}, {}, anna}};
    for (const auto& [userID, consoleUser, name, home] : users) {
        machine->userID = userID;
        machine->consoleUserName = consoleUser;
        for (const auto& [lookup, place] : folders) {
            EXPECT_EQ(lookup(true), home + place) << userID;
            EXPECT_EQ(lookup(false), place == "/Documents" ? Path() : Path(root + place));
        }
        EXPECT_EQ(QVLocalPaths::username(), name);
        EXPECT_EQ(QVLocalPaths::userDirectory(), home);
        EXPECT_EQ(QVLocalPaths::desktopDirectory(), home + "/Desktop");
        EXPECT_EQ(QVLocalPaths::movieDirectory(), home + "/Movies");
        EXPECT_EQ(QVLocalPaths::trashDirectory(), home + "/.Trash");
    }
    EXPECT_FALSE(QVLocalPaths::currentConsoleUser());
    EXPECT_EQ(QVLocalPaths::systemLibraryDirectory(), root + "/System/Library");
    EXPECT_EQ(QVLocalPaths::localDocumentationDirectory(), root + "/Library/Documentation");
    EXPECT_FALSE(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::desktop, 2));
    EXPECT_EQ(QVLocalPaths::pathForDirectory(NSSearchPathDirectory::library, 3),
              "/var/root/Library")
        << "only the user domain alone is the console user's";
    const std::string usual = std::getenv("HOME");
    setenv("HOME", "//home//anna//", 1);
    EXPECT_EQ(RealMachine().homeDirectory(), "/home/anna") << "protected folders are told by path";
    setenv("HOME", usual.c_str(), 1);
}

TEST_F(QVLocalPathsTest, TemporaryFilesHaveFreshNames) {
    const std::string folder = QVLocalPaths::tempDirectory();
    const std::string file = QVLocalPaths::tempFile();
    EXPECT_EQ(std::filesystem::path(file).parent_path(), folder);
    EXPECT_NE(QVLocalPaths::tempFile(), file);
    EXPECT_TRUE(std::filesystem::is_empty(folder));
    // Another user was there first, and then not even the home folder has room for one.
    std::filesystem::permissions(folder, std::filesystem::perms(0777));
    const auto other = machine->homeDirectory() + "/.cache/tessaline";
    EXPECT_EQ(QVLocalPaths::tempDirectory(), other);
    // Who lets go of it again does not lead away from what was begun.
    std::filesystem::permissions(folder, std::filesystem::perms(0700));
    std::filesystem::permissions(machine->homeDirectory(), std::filesystem::perms(0777));
    EXPECT_EQ(QVLocalPaths::tempDirectory(), other);
    std::filesystem::permissions(folder, std::filesystem::perms(0777));
    std::filesystem::permissions(other, std::filesystem::perms(0777));
    EXPECT_FALSE(std::ofstream(QVLocalPaths::tempFile()).is_open());
    EXPECT_EQ(machine->consoleLines().size(), 1U) << "it says why";
}

TEST_F(QVLocalPathsTest, TestsOfPaths) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"protected",
         {"/", root + "/Applications/", root + "/Applications/Utilities", anna, anna + "/Desktop",
          anna + "/Documents", anna + "/Library", anna + "/Library/Caches/",
          root + "/Library/Documentation", root + "/System/Library", "/Users/Shared/", "/Volumes"}},
        {"prefix",
         {"/usr", "/usr/local/bin", "/usrdata", "/Systems", "/var/root", "/private/var/x"}},
        {"free",
         {"", "/a", "éé", "//", root + "/Applications//", root + "/applications",
          root + "/Applications/Tolvin.app", anna + "/Documents/x", anna + "/Library/Logs",
          "/Volumes/x", "/us", "x/usr", "/Backups.backupdb/host",
          "/Volumes/Backup/Backups.backupdb2", "Volumes/a/Backups.backupdb"}},
        {"backup", {"/Volumes/Backup/Backups.backupdb/host/Latest", "/Volumes/Backups.backupdb"}}};
    for (const auto& [kind, paths] : cases) {
        for (const auto& path : paths) {
            const bool exact = kind == "protected", loose = exact || kind == "prefix";
            EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(path, true), exact) << path;
            EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(path), loose) << path;
            EXPECT_EQ(QVLocalPaths::isPathOnTimeMachineVolume(path), kind == "backup") << path;
        }
    }
}

} // namespace
