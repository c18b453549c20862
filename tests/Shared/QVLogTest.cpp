#include "LogFixture.h"

#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "Shared/QVException.h"
#include "Shared/QVLocalPaths.h"
#include "System/FileReading.h"

#include <filesystem>
#include <future>
#include <regex>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

class LogTest : public WithLog<MachineTest> {
protected:
    static void write(const std::string& path, const std::string& text) {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text;
    }
};

TEST_F(LogTest, writesAHeaderAndWholeEntries) {
    QVLog::createNewLog("App");
    QVLog::appendLog(std::nullopt);
    QVLog::appendLog(" \t%@ %d%% of %s\n", "done", 100, std::string("%@ %d"));
    QVLog::appendLogAndPrint("\n %@ ", "  printed %@ ");
    QVLog::appendLog(" \n ");
    QVLog::finishWriting();
    const std::regex expected("Log started: (\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d{4})"
                              "\nSystem: OS X .+, [1-9]\\d* CPU\\(s\\), \\d+\\.\\d\\d GB RAM\n"
                              "Running in 64-bit mode\n"
                              "\\1 - done 100% of %@ %d\n\\1 - printed %@\n\\1 - \n");
    const auto text = contentsOfFile(file(1)).value_or("");
    EXPECT_TRUE(std::regex_match(text, expected)) << text;
    EXPECT_EQ(console(), Lines{"  printed %@ "});
}

TEST_F(LogTest, waitsOnlyForShortMessagesIntoANearlyEmptyQueue) {
    QVLog::createNewLog("App");
    const std::string emoji = "\U0001F600"; // two characters
    const std::string rest(97, 'a');
    for (const auto& text : {rest + "bb", rest + emoji, std::string("c")}) {
        QVLog::appendLog("%@", text);
        EXPECT_EQ(messagesIn(file(1)).back(), text) << "not on the disk when the call returned";
    }
    // None of these may wait: the queue cannot move before they have returned.
    std::promise<void> go;
    QVLog::sharedController().writeQueue()->addOperation([&] { go.get_future().wait(); });
    const Lines texts = {"", rest + "ddd", rest + emoji + "d", "behind them"};
    for (const auto& text : texts) {
        QVLog::appendLog("%@", text);
    }
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 211U);
    go.set_value();
    QVLog::finishWriting();
    const auto messages = messagesIn(file(1));
    EXPECT_EQ(Lines(messages.end() - 4, messages.end()), texts);
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 0U);
}

TEST_F(LogTest, keepsFiveGenerationsOf500KB) {
    constexpr std::size_t dateAndEnds = 29;
    QVLog::createNewLog("App");
    QVLog::appendLog("%@", std::string(499'999 - dateAndEnds, 'x'));
    QVLog::finishWriting();
    EXPECT_FALSE(std::filesystem::exists(file(2)));
    QVLog::appendLog("last");
    QVLog::appendLog("first");
    EXPECT_EQ(messagesIn(file(2)).back(), "last");
    EXPECT_EQ(messagesIn(file(1)), (Lines{"Log truncated at 500KB", "first"}));
    // The text of generations 1 to 5, before and after; blank for none, L for a header.
    const std::pair<std::string, std::string> cases[] = {
        {"12345", "L1234"}, {" 23  ", "L23  "}, {"1 3 5", "L1 3 "}, {"1   5", "L1   "}};
    for (const auto& [before, expected] : cases) {
        std::filesystem::remove_all(folder);
        for (const char generation : before) {
            if (generation != ' ') {
                write(file(generation - '0'), std::string(1, generation));
            }
        }
        QVLog::createNewLog("App");
        std::string after;
        for (int generation = 1; generation <= 5; ++generation) {
            after += contentsOfFile(file(generation)).value_or(" ").at(0);
        }
        EXPECT_EQ(after, expected) << before;
    }
}

TEST_F(LogTest, isSwitchedOffByTheGlobalSettings) {
    const std::pair<PropertyList, bool> cases[] = {
        {"1", true},    {1, true},      {true, true},  {1.0, true},
        {"yes", false}, {"0", false},   {"01", false}, {"true", false},
        {0, false},     {false, false}, {2, false},    {NSArray{1}, false}};
    const auto settings = *QVLocalPaths::prefsDirectory(true) + "/com.quorvane.global.plist";
    for (const auto& [value, off] : cases) {
        reset();
        machine->clearConsole();
        ASSERT_TRUE(writeDictionaryToFile({{"disable-logging", value}}, settings));
        QVLog::createNewLog("App");
        std::filesystem::remove(settings);
        QVLog::createNewLog();
        QVLog::appendLog("%d", off);
        EXPECT_EQ(messagesIn(file(1, off ? "SharedTests" : "App")).empty(), off)
            << "once off, always off";
        EXPECT_EQ(console(), Lines(off ? 1 : 0, "Logging is disabled"));
    }
}

TEST_F(LogTest, takesItsNameOnceAndItsFolderFromTheUser) {
    QVLog::createNewLog();
    EXPECT_TRUE(std::filesystem::exists(file(1, "SharedTests")));
    QVLog::createNewLog("App");
    QVLog::createNewLog("Other");
    EXPECT_TRUE(std::filesystem::exists(file(2)) && !std::filesystem::exists(file(1, "Other")));
    machine->userID = 0;
    QVLog::createNewLog();
    EXPECT_TRUE(std::filesystem::exists(machine->root() + "/Library/Logs/Quorvane/App.1.log"));
    EXPECT_EQ(QVLog::allocWithZone(), nullptr) << "a second instance";
}

TEST_F(LogTest, reportsOnTheConsoleWhatItCannotWrite) {
    QVLog::sharedController().setAppName("App");
    QVLog::appendLog("lost");
    EXPECT_FALSE(std::filesystem::exists(folder));
    std::filesystem::create_directories(file(1)); // a directory where the file should be
    QVLog::appendLog("gone");
    EXPECT_EQ(
        console(),
        (Lines{"Unable to log the following information: lost", "Unable to open log for output",
               "Unable to log the following information: gone", "Unable to open log for output"}));

    machine->clearConsole(); // a folder that may not be written to, as an ordinary user has it
    std::filesystem::remove(file(1));
    chmod(machine->root().c_str(), 0755);
    for (int turn = 0; turn < 2; ++turn) {
        chmod(folder.c_str(), 0555);
        const bool superuser = seteuid(65534) == 0;
        QVLog::createNewLog("App");
        ASSERT_TRUE(!superuser || seteuid(0) == 0);
        chmod(folder.c_str(), 0755);
        write(file(4), "4");
        write(file(1), "1");
    }
    const auto lines = console();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_TRUE(lines[0].starts_with("Unable to create log file " + file(1) + " - ")) << lines[0];
    EXPECT_EQ(lines[1], "Unable to move file " + file(4) + " to " + file(5));
    EXPECT_EQ(contentsOfFile(file(1)), "1");

    machine->clearConsole(); // a file where a folder should be
    const auto logs = std::filesystem::path(folder).parent_path();
    std::filesystem::remove_all(logs);
    write(logs, "");
    QVLog::createNewLog("App");
    EXPECT_EQ(console(), Lines{"Unable to create folder " + folder + "."});
    EXPECT_EQ(QVLog::sharedController().fileHandle(), nullptr);
}

TEST_F(LogTest, outlivesWhatBefallsItsFile) {
    QVLog::createNewLog("App");
    std::filesystem::remove(file(1)); // taken away and replaced
    write(file(1), "somebody else's\n");
    QVLog::appendLog("not into that one");
    QVLog::createNewLog();
    QVLog::appendLog("into the new one");
    EXPECT_EQ(contentsOfFile(file(2)), "somebody else's\n");
    EXPECT_EQ(messagesIn(file(1)), Lines{"into the new one"});

    if (mount("none", folder.c_str(), "tmpfs", 0, "size=64k") != 0) { // a full disk
        GTEST_SKIP() << "mounting is not permitted here";
    }
    QVLog::createNewLog();
    write(folder + "/ballast", std::string(40'000, 'b'));
    QVLog::appendLog("%@", std::string(30'000, 'x'));
    QVLog::finishWriting();
    EXPECT_EQ(console(), Lines{"Exception writing to log: No space left on device"});
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 30'000U) << "steps not reached are skipped";
    QVLog::createNewLog();
    EXPECT_TRUE(std::filesystem::exists(file(1))) << "until there is room for a new one";
    std::filesystem::remove(folder + "/ballast");
    QVLog::appendLog("room again");
    QVLog::finishWriting();
    EXPECT_EQ(messagesIn(file(1)).back(), "room again") << "a line of its own";
    QVLog::sharedController().setFileHandle(nullptr);
    EXPECT_EQ(umount(folder.c_str()), 0);
}

TEST_F(LogTest, takesAMillionLinesFromTenThreads) {
    constexpr int lines = 100'000;
    QVLog::createNewLog("App");
    const std::string padding(100, '.');
    std::vector<std::jthread> writers;
    for (int thread = 0; thread < 10; ++thread) {
        writers.emplace_back([&, thread] {
            for (int line = 0; line < lines; ++line) {
                QVLog::appendLog("%d %d %@", thread, line, padding);
            }
        });
    }
    writers.clear();
    NSOperationQueue::drainAll(); // what the log says of itself comes last
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 0U);
    // What the five generations hold is the end of each thread's lines, none missing or torn.
    std::map<int, int> next;
    for (int generation = 5; generation >= 1; --generation) {
        for (const auto& message : messagesIn(file(generation))) {
            int thread = 0, line = 0;
            if (std::sscanf(message.c_str(), "%d %d", &thread, &line) == 2) {
                EXPECT_EQ(message, stringWithFormat("%d %d %@", thread, line, padding));
                EXPECT_EQ(line, next.try_emplace(thread, line).first->second++);
            } else {
                EXPECT_EQ(message, "Log truncated at 500KB");
            }
        }
    }
    for (const auto& [thread, line] : next) {
        EXPECT_EQ(line, lines) << "lost lines of thread " << thread;
    }
    EXPECT_TRUE(!next.empty() && console().empty());
}

TEST_F(LogTest, losesNothingWhenTheProgramEnds) {
    QVLog::createNewLog("App");
    if (fork() == 0) {
        for (int line = 0; line < 1000; ++line) {
            QVLog::appendLog("%d %@", line, std::string(100, '.'));
        }
        std::exit(0);
    }
    EXPECT_GT(wait(nullptr), 0);
    EXPECT_EQ(messagesIn(file(1)).size(), 1000U);
}

TEST_F(LogTest, reportsExceptions) {
    QVLog::createNewLog("App");
    const Lines lines = {QVException::logException({"Odd", "%@ %d %s"}, "-[A b]"),
                         QVException::logException({std::nullopt, std::nullopt}, "a")};
    EXPECT_EQ(lines,
              (Lines{"Exception in -[A b]. Odd - %@ %d %s.", "Exception in a. (null) - (null)."}));
    EXPECT_TRUE(messagesIn(file(1)) == lines && console() == lines);
    EXPECT_TRUE(QVException::didTimeout({"NSPortTimeoutException", std::nullopt}));
    EXPECT_FALSE(QVException::didTimeout({"NSPortTimeout", std::nullopt}));
}
} // namespace
