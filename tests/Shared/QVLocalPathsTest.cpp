#include "Shared/QVLocalPaths.h"

#include "Foundation/NSFileManager.h"
#include "support/TestMachine.h"

#include <set>

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
    struct Case {
        Path (*lookup)(bool);
        std::string user;
        std::string local;
    };
    for (const Case& item :
         {Case{QVLocalPaths::applicationDirectory, "/Applications", "/Applications"},
          Case{QVLocalPaths::adminApplicationDirectory, "/Applications/Utilities",
               "/Applications/Utilities"},
          Case{QVLocalPaths::documentDirectory, "/Documents", ""},
          Case{QVLocalPaths::libraryDirectory, "/Library", "/Library"},
          Case{QVLocalPaths::prefsDirectory, "/Library/Preferences", "/Library/Preferences"},
          Case{QVLocalPaths::cacheDirectory, "/Library/Caches", "/Library/Caches"},
          Case{QVLocalPaths::appSupportDirectory, "/Library/Application Support",
               "/Library/Application Support"},
          Case{QVLocalPaths::logDirectory, "/Library/Logs", "/Library/Logs"}}) {
        for (const uid_t userID : {501U, 0U}) {
            machine->userID = userID;
            machine->user = userID == 0 ? "root" : "anna";
            EXPECT_EQ(item.lookup(true), anna + item.user) << userID;
            EXPECT_EQ(item.lookup(false),
                      item.local.empty() ? std::nullopt : Path(root + item.local));
            EXPECT_EQ(QVLocalPaths::desktopDirectory(), anna + "/Desktop");
            EXPECT_EQ(QVLocalPaths::systemLibraryDirectory(), root + "/System/Library");
            EXPECT_EQ(QVLocalPaths::localDocumentationDirectory(), root + "/Library/Documentation");
            EXPECT_EQ(QVLocalPaths::movieDirectory(), anna + "/Movies");
            EXPECT_EQ(QVLocalPaths::trashDirectory(), anna + "/.Trash");
        }
    }
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
    std::set<std::string> names;
    for (int turn = 0; turn < 100; ++turn) {
        const std::string name = QVLocalPaths::tempFile();
        EXPECT_TRUE(name.starts_with(folder + "/") && name.size() > folder.size() + 8) << name;
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 100U);
    EXPECT_EQ(NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder),
              std::vector<std::string>());
}

TEST_F(QVLocalPathsTest, ProtectedFolders) {
    machine = std::make_shared<PlainMachine>(directory.path(), clock);
    Machine::install(machine);
    struct Case {
        std::string path;
        bool exact;
        bool inexact;
    };
    for (const Case& item : {Case{"/", true, true},
                             Case{"", false, false},
                             Case{"/a", false, false},
                             Case{"éé", false, false},
                             Case{"//", false, false},
                             Case{"/Applications/", true, true},
                             Case{"/Applications//", false, false},
                             Case{"/applications", false, false},
                             Case{"/Applications/Utilities", true, true},
                             Case{"/Applications/Tolvin.app", false, false},
                             Case{"/Users/anna", true, true},
                             Case{"/Users/anna/x", false, false},
                             Case{"/Users/anna/Desktop", true, true},
                             Case{"/Users/anna/Documents", true, true},
                             Case{"/Users/anna/Documents/x", false, false},
                             Case{"/Users/anna/Library", true, true},
                             Case{"/Users/anna/Library/Caches/", true, true},
                             Case{"/Users/anna/Library/Logs", false, false},
                             Case{"/Library/Preferences", true, true},
                             Case{"/Library/Documentation", true, true},
                             Case{"/System/Library", true, true},
                             Case{"/Users/berta", false, false},
                             Case{"/Users/Shared/", true, true},
                             Case{"/Volumes", true, true},
                             Case{"/Volumes/x", false, false},
                             Case{"/usr/local/bin", false, true},
                             Case{"/usrdata", false, true},
                             Case{"/Systems", false, true},
                             Case{"/var/root", false, true},
                             Case{"/private/var/x", false, true},
                             Case{"/private/x", false, false},
                             Case{"/us", false, false},
                             Case{"x/usr", false, false}}) {
        EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(item.path, true), item.exact) << item.path;
        EXPECT_EQ(QVLocalPaths::isPathSystemDirectory(item.path), item.inexact) << item.path;
    }
    machine->userID = 0;
    machine->consoleUserName = "berta";
    EXPECT_TRUE(QVLocalPaths::isPathSystemDirectory("/Users/berta/Library", true));
    EXPECT_FALSE(QVLocalPaths::isPathSystemDirectory("/Users/anna/Library", true));
}

TEST_F(QVLocalPathsTest, BackupVolumes) {
    for (const auto& [path, expected] :
         {std::pair("/Volumes/Backup/Backups.backupdb/host/Latest", true),
          std::pair("/Volumes/Backups.backupdb", true), std::pair("/Backups.backupdb/host", false),
          std::pair("/Volumes/Backup/Backups.backupdb2", false), std::pair("/Volumes", false),
          std::pair("Volumes/a/Backups.backupdb", false)}) {
        EXPECT_EQ(QVLocalPaths::isPathOnTimeMachineVolume(path), expected) << path;
    }
}

} // namespace
