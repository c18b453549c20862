#include "Foundation/NSFileManager.h"

#include "Foundation/NSPathUtilities.h"
#include "support/RealTime.h"
#include "support/TemporaryDirectory.h"
#include "System/FileReading.h"
#include "System/FileReplacement.h"
#include "System/SaneSurroundings.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class NSFileManagerTest : public testing::Test {
protected:
    using Names = std::vector<std::string>;
    /// What is in the folder, to see that no temporary file stays.
    Names names() const { return files.contentsOfDirectoryAtPath(folder).value(); }
    unsigned mode() const { return static_cast<unsigned>(fs::status(file).permissions()); }

    TemporaryDirectory directory;
    const std::string folder = directory.path() + "/";
    const std::string file = folder + "a";
    const NSFileManager& files = NSFileManager::defaultManager();
};

TEST_F(NSFileManagerTest, WritingKeepsTheModeFollowsLinksAndReplacesNothingButFiles) {
    fs::create_directories(folder + "real/deep");
    fs::create_symlink("real/deep/../b", file); // relative, and nothing there yet
    fs::create_symlink(file, folder + "chain"); // absolute
    fs::create_symlink("loop", folder + "loop");
    ASSERT_EQ(mkfifo((folder + "pipe").c_str(), 0600), 0);
    const auto othersWork = folder + "real/.saving-7";
    const FileDescriptor theirs(open(othersWork.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    flock(theirs.get(), LOCK_EX);
    const mode_t before = umask(027);
    EXPECT_FALSE(writeFileAtomically("one", folder + "chain"));
    umask(before);
    EXPECT_EQ(mode(), 0640U);
    for (const mode_t kept : {0600U, 0444U, 0666U}) {
        chmod(file.c_str(), kept);
        const std::string content(100000, static_cast<char>('a' + kept % 7));
        EXPECT_FALSE(writeFileAtomically(content, folder + "chain"));
        EXPECT_EQ(contentsOfFile(folder + "real/b"), content);
        EXPECT_EQ(mode(), kept);
    }
    EXPECT_TRUE(fs::is_symlink(file) && fs::is_symlink(folder + "chain"));
    for (const std::string name : {"real", "pipe", "loop", "missing"}) {
        const std::string path = folder + name + (name == "missing" ? "/a" : "");
        const auto problem = writeFileAtomically("x", path);
        EXPECT_TRUE(problem && std::string(problem->what()).find(folder + name) != path.npos);
        EXPECT_FALSE(contentsOfFile(path)) << name;
    }
    EXPECT_EQ(names(), (Names{"a", "chain", "loop", "pipe", "real"}));
    EXPECT_TRUE(fs::exists(othersWork));
}

TEST_F(NSFileManagerTest, AWriteThatFailsKeepsTheOldFile) {
    if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k,mode=755") != 0) {
        GTEST_SKIP() << "no right to mount a small disk";
    }
    const std::string old(20000, 'o');
    EXPECT_FALSE(writeFileAtomically(old, file));
    chmod(file.c_str(), 0666);
    EXPECT_EXIT(_exit(setuid(65534) == 0 && writeFileAtomically("new", file) ? 0 : 1),
                testing::ExitedWithCode(0), "")
        << "a folder of another user's";
    const auto problem = writeFileAtomically(std::string(60000, 'n'), file);
    EXPECT_TRUE(problem && problem->code() == std::errc::no_space_on_device);
    EXPECT_EQ(contentsOfFile(file), old);
    EXPECT_EQ(names(), Names{"a"});
    const auto writesMoreThanAllowed = [&] {
        takeSaneSurroundings();
        const rlimit limit{1000, 1000};
        setrlimit(RLIMIT_FSIZE, &limit);
        return writeFileAtomically(std::string(2000, 'n'), file).has_value();
    };
    EXPECT_EXIT(_exit(writesMoreThanAllowed() ? 0 : 1), testing::ExitedWithCode(0), "");

    // The owner stays where that is allowed, and nobody's rights pass to another.
    constexpr unsigned nobody = 65534;
    const std::pair<unsigned, unsigned> writers[] = {{0, 04755}, {nobody, 0755}};
    for (const auto& [user, kept] : writers) {
        EXPECT_TRUE(chown(folder.c_str(), user, 0) == 0 && chown(file.c_str(), 12345, 0) == 0 &&
                    chmod(file.c_str(), 04755) == 0);
        EXPECT_EXIT(_exit(setuid(user) == 0 && !writeFileAtomically(old, file) ? 0 : 1),
                    testing::ExitedWithCode(0), "");
        struct stat status {};
        stat(file.c_str(), &status);
        EXPECT_EQ(status.st_uid, user == nobody ? nobody : 12345);
        EXPECT_EQ(status.st_mode & 07777, kept);
    }
    const auto usesAnothersFolder = [&] {
        const auto place = folder + "tessaline";
        setenv("HOME", folder.c_str(), 1);
        setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
        return mkdir(place.c_str(), 0700) != 0 || chown(place.c_str(), nobody, 0) != 0 ||
               fs::equivalent(NSTemporaryDirectory(), place);
    };
    EXPECT_EXIT(_exit(usesAnothersFolder() ? 1 : 0), testing::ExitedWithCode(0), "");
    umount(folder.c_str());
}

TEST_F(NSFileManagerTest, WritersAtTheSameTimeAndKilledAtAnyMomentLeaveAWholeFile) {
    const std::array contents{std::string(30000, 'a'), std::string(90000, 'b')};
    writeFileAtomically(contents[0], file);
    chmod(file.c_str(), 0600);
    std::mt19937 random(7); // NOLINT: the same moments in every run, as far as a machine allows
    std::size_t cutShort = 0;
    for (int round = 0; round < 60; ++round) {
        std::array<pid_t, 2> writers{};
        for (std::size_t index = 0; index < writers.size(); ++index) {
            writers[index] = fork();
            while (writers[index] == 0) {
                writeFileAtomically(contents[index], file);
            }
        }
        // How long a new process takes to begin differs widely.
        EXPECT_TRUE(eventually([&] { return names().size() > 1; }));
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
        for (const pid_t writer : writers) {
            kill(writer, SIGKILL);
            waitpid(writer, nullptr, 0);
        }
        for (const auto& name : names()) {
            EXPECT_EQ(fs::status(folder + name).permissions(), fs::perms(0600)) << "for others";
        }
        const auto content = contentsOfFile(file);
        ASSERT_TRUE(content == contents[0] || content == contents[1]);
        cutShort += names().size() > 1 ? 1 : 0;
        ASSERT_FALSE(writeFileAtomically(content.value(), file));
        ASSERT_EQ(names(), Names{"a"}) << "what nobody works on any more is cleared away";
    }
    EXPECT_GT(cutShort, 0U) << "no kill came in the middle of a write";
}

} // namespace
