#include "Foundation/NSFileManager.h"

#include "Foundation/FileDescriptor.h"
#include "support/TemporaryDirectory.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

class NSFileManagerTest : public testing::Test {
protected:
    /// Names in the folder, to see that no temporary file stays.
    std::vector<std::string> names(const std::string& below = "") const {
        return files.contentsOfDirectoryAtPath(folder + below).value();
    }
    static unsigned mode(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }

    TemporaryDirectory directory;
    const std::string folder = directory.path() + "/";
    const std::string file = folder + "a.plist";
    const NSFileManager& files = NSFileManager::defaultManager();
};

/// Runs `work` in a child process and gives its exit status, -1 for a signal.
int inChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(NSFileManagerTest, WritingKeepsTheModeAndLeavesOneFile) {
    const mode_t before = umask(027);
    EXPECT_FALSE(writeFileAtomically("one", file));
    umask(before);
    EXPECT_EQ(mode(file), 0640U);
    for (const mode_t kept : {0600U, 0444U, 0666U}) {
        chmod(file.c_str(), kept);
        const std::string content(100000, static_cast<char>('a' + kept % 7));
        EXPECT_FALSE(writeFileAtomically(content, file));
        EXPECT_EQ(contentsOfFile(file), content);
        EXPECT_EQ(mode(file), kept);
    }
    EXPECT_EQ(names(), std::vector<std::string>{"a.plist"});
}

TEST_F(NSFileManagerTest, WritingFollowsLinks) {
    fs::create_directories(folder + "real/deep");
    fs::create_symlink("real/deep/../b.plist", file); // relative, and nothing there yet
    fs::create_symlink(file, folder + "chain");       // absolute
    for (const std::string content : {"created", "replaced"}) {
        EXPECT_FALSE(writeFileAtomically(content, folder + "chain"));
        EXPECT_EQ(contentsOfFile(folder + "real/b.plist"), content);
    }
    EXPECT_TRUE(fs::is_symlink(file) && fs::is_symlink(folder + "chain"));
    EXPECT_EQ(names("real"), (std::vector<std::string>{"b.plist", "deep"}));
    fs::create_symlink("loop", folder + "loop");
    EXPECT_TRUE(writeFileAtomically("x", folder + "loop"));
}

TEST_F(NSFileManagerTest, WhatIsNoFileIsNotReplaced) {
    fs::create_directory(folder + "d");
    ASSERT_EQ(mkfifo((folder + "pipe").c_str(), 0600), 0);
    const auto before = names();
    for (const std::string name : {"d", "pipe", "missing/a"}) {
        const auto problem = writeFileAtomically("x", folder + name);
        ASSERT_TRUE(problem) << name;
        EXPECT_NE(problem->find(name == "missing/a" ? "missing" : name), std::string::npos)
            << *problem;
        EXPECT_FALSE(contentsOfFile(folder + name)) << name;
    }
    EXPECT_EQ(names(), before);
}

TEST_F(NSFileManagerTest, AFolderThatCannotBeWrittenKeepsItsFile) {
    if (getuid() != 0) {
        GTEST_SKIP() << "only the superuser can become another user";
    }
    writeFileAtomically("old", file);
    chmod(file.c_str(), 0666);
    chmod(folder.c_str(), 0755);
    constexpr uid_t nobody = 65534;
    EXPECT_EQ(inChild([&] {
                  const bool left = setgid(nobody) == 0 && setuid(nobody) == 0;
                  return left && writeFileAtomically("new", file) ? 0 : 1;
              }),
              0);
    EXPECT_EQ(contentsOfFile(file), "old");
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(NSFileManagerTest, AFullDiskKeepsTheOldFile) {
    if (mount("tmpfs", folder.c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "no right to mount a small disk";
    }
    const std::string old(20000, 'o');
    EXPECT_FALSE(writeFileAtomically(old, file));
    const auto problem = writeFileAtomically(std::string(60000, 'n'), file);
    const auto content = contentsOfFile(file);
    const auto left = names();
    const bool again = !writeFileAtomically(std::string(20000, 'x'), file);
    umount(folder.c_str());
    ASSERT_TRUE(problem);
    EXPECT_NE(problem->find("No space left"), std::string::npos) << *problem;
    EXPECT_EQ(content, old);
    EXPECT_EQ(left, std::vector<std::string>{"a.plist"});
    EXPECT_TRUE(again) << "the failed write's space is free again";
}

TEST_F(NSFileManagerTest, KilledAtAnyMomentItLeavesAWholeFile) {
    const std::vector<std::string> contents{std::string(30000, 'a'), std::string(90000, 'b')};
    writeFileAtomically(contents[0], file);
    std::mt19937 random(7); // NOLINT: the same moments in every run, as far as a machine allows
    std::size_t cutShort = 0;
    for (int round = 0; round < 200; ++round) {
        std::array<int, 2> ready{};
        ASSERT_EQ(pipe2(ready.data(), O_CLOEXEC), 0);
        const FileDescriptor reading(ready[0]);
        const FileDescriptor writing(ready[1]);
        const pid_t child = fork();
        if (child == 0) {
            [[maybe_unused]] const ssize_t told = write(writing.get(), "", 1);
            for (std::size_t turn = 0;; ++turn) {
                writeFileAtomically(contents[turn % 2], file);
            }
        }
        char begun = 0;
        ASSERT_EQ(read(reading.get(), &begun, 1), 1);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        const auto content = contentsOfFile(file);
        ASSERT_TRUE(content && std::count(contents.begin(), contents.end(), *content) == 1);
        for (const std::string& name : names()) {
            if (name != "a.plist") {
                ++cutShort;
                fs::remove(folder + name);
            }
        }
    }
    EXPECT_GT(cutShort, 0U) << "no kill came in the middle of a write";
}

TEST_F(NSFileManagerTest, WritersAtTheSameTimeDoNotMix) {
    std::vector<std::thread> writers;
    for (char letter = 'a'; letter < 'e'; ++letter) {
        writers.emplace_back([this, letter] {
            for (int turn = 0; turn < 20; ++turn) {
                EXPECT_FALSE(writeFileAtomically(std::string(50000, letter), file));
                const auto content = contentsOfFile(file).value_or("");
                EXPECT_EQ(content, std::string(50000, content.empty() ? '?' : content[0]));
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    EXPECT_EQ(names().size(), 1U);
}

TEST_F(NSFileManagerTest, MovesRemovesAndLists) {
    EXPECT_TRUE(files.createDirectoryAtPath(folder + "x/y"));
    EXPECT_TRUE(files.createDirectoryAtPath(folder + "x/y"));
    writeFileAtomically("1", folder + "x/y/one");
    writeFileAtomically("2", folder + "two");
    EXPECT_FALSE(files.createDirectoryAtPath(folder + "two/z"));
    EXPECT_FALSE(files.moveItemAtPath(folder + "x/y/one", folder + "two"));
    EXPECT_EQ(contentsOfFile(folder + "two"), "2");
    EXPECT_TRUE(files.moveItemAtPath(folder + "x", folder + "z"));
    EXPECT_EQ(contentsOfFile(folder + "z/y/one"), "1");
    fs::create_symlink("z", folder + "link");
    EXPECT_EQ(names(), (std::vector<std::string>{"link", "two", "z"}));
    EXPECT_TRUE(files.removeItemAtPath(folder + "link"));
    EXPECT_TRUE(files.fileExistsAtPath(folder + "z/y/one")) << "a link's target stays";
    EXPECT_TRUE(files.isDirectoryAtPath(folder + "z") && !files.isDirectoryAtPath(folder + "two"));
    EXPECT_TRUE(files.removeItemAtPath(folder + "z"));
    EXPECT_FALSE(files.removeItemAtPath(folder + "z"));
    EXPECT_FALSE(files.contentsOfDirectoryAtPath(folder + "z"));
    EXPECT_FALSE(files.isExecutableFileAtPath(folder + "two"));
    EXPECT_TRUE(files.isExecutableFileAtPath("/bin/sh"));
    if (fs::exists("/dev/shm") && !fs::equivalent("/dev/shm", folder)) {
        const std::string other = "/dev/shm/" + fs::path(directory.path()).filename().string();
        EXPECT_TRUE(files.moveItemAtPath(folder + "two", other)) << "onto another disk";
        EXPECT_EQ(contentsOfFile(other), "2");
        EXPECT_TRUE(files.removeItemAtPath(other) && names().empty());
    }
}

} // namespace
