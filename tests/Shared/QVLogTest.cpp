#include "LogFixture.h"

#include "Shared/QVException.h"

#include <filesystem>
#include <fstream>
#include <future>
#include <regex>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

using Lines = std::vector<std::string>;

class LogTest : public WithLog<MachineTest> {
protected:
    void write(const std::string& path, const std::string& text) const {
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text;
    }
};

/// An ordinary user in place of the superuser, whom no mode keeps from writing.
class OrdinaryUser {
public:
    explicit OrdinaryUser(const std::string& root) : root(root), switched(geteuid() == 0) {
        setModes(0555);
        EXPECT_TRUE(!switched || seteuid(65534) == 0);
    }
    ~OrdinaryUser() {
        EXPECT_TRUE(!switched || seteuid(0) == 0);
        setModes(0755);
    }

private:
    void setModes(mode_t mode) const {
        chmod(root.c_str(), mode);
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
            chmod(entry.path().c_str(), mode);
        }
    }

    const std::string root;
    const bool switched;
};

TEST_F(LogTest, writesAHeaderAndWholeEntries) {
    QVLog::createNewLog("App");
    QVLog::appendLog(std::nullopt);
    QVLog::appendLog(" \t%@ %d%% of %s\n", "done", 100, std::string("%@ %d"));
    QVLog::appendLogAndPrint("\n %@ ", "  printed %@ ");
    QVLog::appendLog(" \n ");
    QVLog::finishWriting();
    const auto lines = linesOf(file(1));
    const Lines expected = {
        "Log started: \\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d{4}",
        "System: OS X .+, [1-9]\\d* CPU\\(s\\), \\d+\\.\\d\\d GB RAM",
        "Running in 64-bit mode",
        "\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d [+-]\\d{4} - done 100% of %@ %d",
        ".{25} - printed %@",
        ".{25} - ",
    };
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t index = 0; index < lines.size(); ++index) {
        EXPECT_TRUE(std::regex_match(lines[index], std::regex(expected[index]))) << lines[index];
    }
    EXPECT_EQ(console(), Lines{"  printed %@ "});
}

TEST_F(LogTest, waitsOnlyForShortMessagesIntoANearlyEmptyQueue) {
    QVLog::createNewLog("App");
    const std::string emoji = "\U0001F600";
    std::string pairs;
    for (int count = 0; count < 49; ++count) {
        pairs += emoji;
    }
    for (const auto& text : {std::string(99, 'a'), pairs + "b", std::string("c")}) {
        QVLog::appendLog("%@", text);
        EXPECT_EQ(messagesIn(file(1)).back(), text) << "not on the disk when the call returned";
    }
    // None of these may wait: the queue cannot move before they have returned.
    std::promise<void> go;
    QVLog::sharedController().writeQueue()->addOperation([&] { go.get_future().wait(); });
    const Lines texts = {"", std::string(100, 'd'), pairs + emoji, "behind them"};
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

TEST_F(LogTest, keepsFiveGenerations) {
    const struct {
        std::string before, after; // the text of generations 1 to 5; blank for none, h for a header
    } cases[] = {{"12345", "h1234"},
                 {" 23  ", "h23  "},
                 {"     ", "h    "},
                 {"1 3 5", "h1 3 "},
                 {"1   5", "h1   "}};
    for (const auto& each : cases) {
        std::filesystem::remove_all(folder());
        for (int generation = 1; generation <= 5; ++generation) {
            const char text = each.before[static_cast<std::size_t>(generation - 1)];
            if (text != ' ') {
                write(file(generation), std::string(1, text));
            }
        }
        QVLog::createNewLog("App");
        std::string after;
        for (int generation = 1; generation <= 5; ++generation) {
            const auto text = contentsOfFile(file(generation)).value_or(" ");
            after += text.starts_with("Log started: ") ? "h" : text;
        }
        EXPECT_EQ(after, each.after) << each.before;
    }
}

TEST_F(LogTest, startsANewFileAt500KB) {
    constexpr std::size_t dateAndEnds = 29;
    QVLog::createNewLog("App");
    QVLog::appendLog("%@", std::string(499'999 - dateAndEnds, 'x'));
    QVLog::finishWriting();
    EXPECT_EQ(QVLog::sharedController().bytesWritten(), 499'999U);
    EXPECT_FALSE(std::filesystem::exists(file(2)));
    QVLog::appendLog("last");
    QVLog::appendLog("first");
    QVLog::finishWriting();
    EXPECT_EQ(messagesIn(file(2)).back(), "last");
    EXPECT_EQ(messagesIn(file(1)), (Lines{"Log truncated at 500KB", "first"}));
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 0U);
}

TEST_F(LogTest, isSwitchedOffByTheGlobalSettings) {
    const struct {
        PropertyList value;
        bool off;
    } cases[] = {{"1", true},    {1, true},      {true, true},    {1.0, true},
                 {"yes", false}, {"0", false},   {"true", false}, {0, false},
                 {2, false},     {false, false}, {"01", false},   {NSArray{1}, false}};
    const auto settings =
        machine->root() + "/Users/anna/Library/Preferences/com.quorvane.global.plist";
    for (const auto& each : cases) {
        reset();
        machine->clearConsole();
        ASSERT_TRUE(writeDictionaryToFile({{"disable-logging", each.value}}, settings));
        QVLog::createNewLog("App");
        EXPECT_EQ(QVLog::sharedController().loggingDisabled(), each.off);
        EXPECT_EQ(console(), each.off ? Lines{"Logging is disabled"} : Lines{});
        std::filesystem::remove(settings);
        QVLog::appendLog("ignored");
        QVLog::createNewLog("App");
        EXPECT_EQ(QVLog::sharedController().loggingDisabled(), each.off) << "once off, always off";
    }
}

TEST_F(LogTest, takesItsNameOnceAndItsFolderFromTheUser) {
    QVLog::createNewLog();
    EXPECT_TRUE(std::filesystem::exists(file(1, "SharedTests")));
    QVLog::createNewLog("App");
    QVLog::createNewLog("Other");
    EXPECT_TRUE(std::filesystem::exists(file(2)));
    EXPECT_FALSE(std::filesystem::exists(file(1, "Other")));
    machine->userID = 0;
    QVLog::createNewLog();
    EXPECT_TRUE(std::filesystem::exists(machine->root() + "/Library/Logs/Quorvane/App.1.log"));
    EXPECT_EQ(QVLog::allocWithZone(), nullptr) << "a second instance";
    EXPECT_EQ(QVLog::sharedController().retainCount(), 0xFFFFFFFFU);
}

TEST_F(LogTest, reportsOnTheConsoleWhatItCannotWrite) {
    QVLog::sharedController().setAppName("App");
    QVLog::appendLog("lost");
    const Lines unopened = {"Unable to log the following information: lost",
                            "Unable to open log for output"};
    EXPECT_EQ(console(), unopened);
    EXPECT_FALSE(std::filesystem::exists(folder()));

    machine->clearConsole(); // a directory where the file should be
    std::filesystem::create_directories(file(1));
    QVLog::appendLog("lost");
    EXPECT_EQ(console(), unopened);
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 0U);

    machine->clearConsole(); // a file where a folder should be
    const auto logs = machine->root() + "/Users/anna/Library/Logs";
    std::filesystem::remove_all(logs);
    write(logs, "");
    QVLog::createNewLog("App");
    EXPECT_EQ(console(), Lines{"Unable to create folder " + folder() + "."});
    EXPECT_EQ(QVLog::sharedController().fileHandle(), nullptr);
}

TEST_F(LogTest, reportsAFolderItMayNotWriteTo) {
    write(file(4), "4");
    {
        const OrdinaryUser user(machine->root());
        QVLog::createNewLog("App");
    }
    ASSERT_EQ(console().size(), 1U);
    EXPECT_TRUE(console()[0].starts_with("Unable to create log file " + file(1) + " - "));
    machine->clearConsole();
    write(file(1), "1");
    {
        const OrdinaryUser user(machine->root());
        QVLog::createNewLog("App");
    }
    EXPECT_EQ(console(), Lines{"Unable to move file " + file(4) + " to " + file(5)});
    EXPECT_EQ(contentsOfFile(file(1)), "1");
    EXPECT_EQ(QVLog::sharedController().fileHandle(), nullptr);
}

TEST_F(LogTest, outlivesAFileThatIsTakenAwayOrReplaced) {
    QVLog::createNewLog("App");
    std::filesystem::remove(file(1));
    QVLog::appendLog("into the removed file");
    write(file(1), "somebody else's\n");
    QVLog::appendLog("not into that one");
    EXPECT_EQ(contentsOfFile(file(1)), "somebody else's\n");
    QVLog::createNewLog();
    QVLog::appendLog("into the new one");
    EXPECT_EQ(contentsOfFile(file(2)), "somebody else's\n");
    EXPECT_EQ(messagesIn(file(1)), Lines{"into the new one"});
    EXPECT_EQ(console(), Lines{});
}

TEST_F(LogTest, outlivesAFullDisk) {
    std::filesystem::create_directories(folder());
    if (mount("none", folder().c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "mounting is not permitted here";
    }
    QVLog::createNewLog("App");
    write(folder() + "/ballast", std::string(40'000, 'b'));
    for (int count = 0; count < 40 && console().empty(); ++count) {
        QVLog::appendLog("%@", std::string(1000, 'x'));
        QVLog::finishWriting();
    }
    EXPECT_EQ(console(), Lines{"Exception writing to log: No space left on device"});
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 1000U) << "steps not reached are skipped";
    std::filesystem::remove(folder() + "/ballast");
    QVLog::appendLog("room again");
    QVLog::finishWriting();
    const auto text = contentsOfFile(file(1)).value_or("");
    EXPECT_TRUE(text.ends_with(" - room again\n"));
    QVLog::sharedController().setFileHandle(nullptr);
    EXPECT_EQ(umount(folder().c_str()), 0);
}

TEST_F(LogTest, takesAMillionLinesFromTenThreads) {
    constexpr int threads = 10, lines = 100'000;
    QVLog::createNewLog("App");
    const std::string padding(100, '.');
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back([&, thread] {
            for (int line = 0; line < lines; ++line) {
                QVLog::appendLog("%d %d %@", thread, line, padding);
            }
        });
    }
    for (auto& writer : writers) {
        writer.join();
    }
    QVLog::finishWriting();
    // What the five generations hold is the end of each thread's lines, none missing or torn.
    std::map<int, int> next;
    std::size_t kept = 0;
    for (int generation = 5; generation >= 1; --generation) {
        std::size_t bytes = 0;
        for (const auto& message : messagesIn(file(generation))) {
            bytes += message.size() + 29;
            std::smatch parts;
            static const std::regex form("(\\d+) (\\d+) \\.{100}");
            if (!std::regex_match(message, parts, form)) {
                EXPECT_EQ(message, "Log truncated at 500KB");
                continue;
            }
            const int thread = std::stoi(parts[1]), line = std::stoi(parts[2]);
            EXPECT_EQ(line, next.contains(thread) ? next[thread] : line);
            next[thread] = line + 1;
            ++kept;
        }
        EXPECT_TRUE(generation == 1 || (bytes >= 500'000 && bytes < 500'200)) << bytes;
    }
    EXPECT_GT(kept, 4U * 3'000);
    for (const auto& [thread, line] : next) {
        EXPECT_EQ(line, lines) << "lost lines of thread " << thread;
    }
    EXPECT_EQ(QVLog::sharedController().bytesInQueue(), 0U);
    EXPECT_EQ(console(), Lines{});
}

TEST_F(LogTest, reportsExceptions) {
    QVLog::createNewLog("App");
    const struct {
        std::optional<std::string> name, reason;
        std::string line;
    } cases[] = {
        {NSInvalidArgumentException, "bad path",
         "Exception in -[A b]. NSInvalidArgumentException - bad path."},
        {"Odd", "%@ %d %s", "Exception in -[A b]. Odd - %@ %d %s."},
        {std::nullopt, std::nullopt, "Exception in -[A b]. (null) - (null)."},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(QVException::logException({each.name, each.reason}, "-[A b]"), each.line);
        EXPECT_EQ(messagesIn(file(1)).back(), each.line);
        EXPECT_EQ(console().back(), each.line);
    }
    EXPECT_TRUE(QVException::didTimeout({"NSPortTimeoutException", std::nullopt}));
    for (const char* name : {"NSPortTimeout", "nsporttimeoutexception"}) {
        EXPECT_FALSE(QVException::didTimeout({name, std::nullopt}));
    }
}

} // namespace
