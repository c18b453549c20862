#include "LogFixture.h"

#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "Foundation/ProcessReaper.h"
#include "Shared/QVTask.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace {

using Lines = std::vector<std::string>;

class TaskTest : public WithLog<MachineTest> {
protected:
    TaskTest() { QVLog::createNewLog("App"); }

    /// Does the work here, on the main thread, and then on another one.
    static void onBothThreads(const std::function<void()>& work) {
        work();
        bool done = false;
        NSThread::detachNewThread([&] {
            work();
            performOnMainThread([&] { done = true; }, false);
        });
        NSRunLoop::mainRunLoop().runUntil([&] { return done; });
    }
    /// Lets virtual time pass once the tool has come to its "r:" argument, whatever waits for it.
    std::thread timePassesWhenReady() {
        mkfifo(fifo.c_str(), 0600);
        clock->toolsCountAsIdle = false;
        return std::thread([this] {
            close(open(fifo.c_str(), O_RDONLY));
            clock->toolsCountAsIdle = true;
            clock->outsideWorkEnds();
        });
    }
    void expectTimeoutReported(bool expected) {
        QVLog::finishWriting();
        EXPECT_EQ(console(), expected ? Lines{"Task timed out. Terminating..."} : Lines{});
        const auto messages = messagesIn(file(1));
        EXPECT_EQ(!messages.empty() &&
                      messages.back() == "Task " + says + " timed out. Terminating...",
                  expected);
        machine->clearConsole();
        QVLog::createNewLog();
    }

    const std::string says = TEST_PROGRAMS "/says";
    const std::string fifo = directory.path() + "/ready";
};

std::size_t openDescriptors() {
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

TEST_F(TaskTest, handsBackWhatTheToolWrote) {
    const struct {
        Lines arguments;
        std::optional<std::string> text;
        NSStringEncoding encoding = NSASCIIStringEncoding;
    } cases[] = {
        {{"o:abc"}, "abc"},
        {{"o:abc", "e:!", "o:def"}, "!"},
        {{"e:one ", "o:x", "e:two ", "o:y", "e:three"}, "one two three"},
        {{}, ""},
        {{"x:3"}, ""},
        {{"o:gone", "k:9"}, "gone"},
        {{"o:caf\xC3\xA9"}, std::nullopt},
        {{"o:caf\xC3\xA9"}, "caf\xC3\xA9", NSUTF8StringEncoding},
        {{"o:caf\xE9"}, "caf\xC3\xA9", NSISOLatin1StringEncoding},
        {{"o:caf\xE9"}, std::nullopt, NSUTF8StringEncoding},
    };
    onBothThreads([&] {
        for (const auto& each : cases) {
            EXPECT_EQ(QVTask::stringFromTask(says, each.arguments, each.encoding, nullptr),
                      each.text);
            EXPECT_EQ(QVTask::stringFromTask(says, each.arguments, each.encoding, 10.0), each.text);
        }
        EXPECT_EQ(QVTask::terminationCodeFromTask(says, {"x:3"}), 3);
        EXPECT_EQ(QVTask::terminationCodeFromTask(says, {"k:11"}, 10.0), 11);
        EXPECT_TRUE(QVTask::runTask(says, {"x:1"}));
        EXPECT_EQ(QVTask::stringFromTask("/bin/cat"), "") << "its input has to be empty";
    });
    NSRunLoop::mainRunLoop().runUntil([] { return false; },
                                      clock->now() + std::chrono::seconds(11));
    expectTimeoutReported(false);
}

TEST_F(TaskTest, readsBothPipesAtOnce) {
    constexpr std::size_t size = 64 << 20;
    onBothThreads([&] {
        const auto bytes = QVTask::dataFromTask(says, {"f:64"}, nullptr);
        ASSERT_TRUE(bytes);
        EXPECT_EQ(bytes->size(), size);
        EXPECT_EQ(std::count(bytes->begin(), bytes->end(), 'e'), static_cast<long>(size));
    });
}

TEST_F(TaskTest, refusesWhatIsNotExecutable) {
    const auto app = machine->root() + "/Applications/Tolvin.app";
    std::filesystem::create_directories(app + "/Contents/MacOS");
    std::ofstream(machine->root() + "/data") << "data";
    machine->tools[app] = app; // as if the lookup let it pass
    for (const std::string& path : {std::string("/data"), app, std::string("/no/such/tool-here"),
                                    std::string("relative"), std::string()}) {
        machine->clearConsole();
        onBothThreads([&] {
            EXPECT_FALSE(QVTask::runTask(path));
            EXPECT_EQ(QVTask::terminationCodeFromTask(path), -1);
            EXPECT_EQ(QVTask::dataFromTask(path, {}, nullptr), std::nullopt);
            EXPECT_EQ(QVTask::stringFromTask(path, {}, NSUTF8StringEncoding, 0.0), "");
            QVTask::runTaskAndReturn(path);
        });
        const auto text = "Error: " + path + " is not executable";
        EXPECT_EQ(console(), Lines(10, text));
        QVLog::finishWriting();
        EXPECT_EQ(messagesIn(file(1)), Lines(10, text));
        QVLog::createNewLog();
    }
}

TEST_F(TaskTest, endsWhatTakesTooLong) {
    const struct {
        Lines arguments;
        std::string text;
        int status;
        double timeout, ended; // seconds
        bool reported;
    } cases[] = {
        {{"o:before", "r", "s"}, "before", SIGTERM, 10, 10, true},
        {{"c", "r", "s"}, "", SIGTERM, 2.9, 2, true},
        {{"i", "o:deaf", "r", "s"}, "deaf", SIGKILL, 10, 15, true},
        {{"i", "g", "o:both", "r", "s"}, "both", SIGKILL, 10, 15, true},
        {{"o:gone", "g"}, "gone", 0, 10, 10, false},
    };
    for (auto each : cases) {
        for (auto& argument : each.arguments) {
            argument += argument == "r" || (argument == "g" && !each.reported) ? ":" + fifo : "";
        }
        onBothThreads([&] {
            const auto start = clock->seconds();
            auto ready = timePassesWhenReady();
            EXPECT_EQ(QVTask::stringFromTask(says, each.arguments, each.timeout), each.text);
            ready.join();
            // A tool that ends by itself when asked to may be seen to do so later.
            EXPECT_GE(clock->seconds() - start, each.ended);
            EXPECT_LE(clock->seconds() - start, 15 + each.timeout);
            performOnMainThread([&] { expectTimeoutReported(each.reported); }, true);
            if (each.reported) {
                ready = timePassesWhenReady();
                EXPECT_EQ(QVTask::terminationCodeFromTask(says, each.arguments, each.timeout),
                          each.status);
                ready.join();
                performOnMainThread([&] { expectTimeoutReported(true); }, true);
            }
        });
    }
}

TEST_F(TaskTest, letsAnotherThreadEndTheTool) {
    onBothThreads([&] {
        TaskSlot slot;
        auto ready = timePassesWhenReady();
        std::thread ender([&] {
            ready.join();
            slot.task()->terminate();
        });
        EXPECT_EQ(QVTask::terminationCodeFromTask(says, {"r:" + fifo, "s"}, &slot), SIGTERM);
        ender.join();
    });
}

struct Listener {
    std::vector<std::string> chunks;
    std::vector<std::shared_ptr<void>> objects;
    bool ended = false;
    void take(const NSData& bytes, QVTask&, const std::shared_ptr<void>& object) {
        chunks.emplace_back(bytes.begin(), bytes.end());
        objects.push_back(object);
        if (bytes.empty()) {
            performOnMainThread([this] { ended = true; }, false);
        }
    }
};

TEST_F(TaskTest, deliversOutputAsItComes) {
    const auto object = std::make_shared<int>(7);
    for (const auto& [path, arguments, expected, message] :
         {std::tuple(says, Lines{"o:one", "e:hidden", "o:two"}, "onetwo", ""),
          std::tuple(says, Lines{}, "", ""),
          std::tuple(std::string("/no/such/tool-here"), Lines{}, "",
                     "Unable to launch async task - There is no program at /no/such/tool-here")}) {
        const auto task = QVTask::create();
        const auto listener = std::make_shared<Listener>();
        task->asyncDataFromTask(path, arguments, listener, &Listener::take, object);
        NSRunLoop::mainRunLoop().runUntil(
            [&] { return listener->ended && listener.use_count() == 1; },
            clock->now() + std::chrono::seconds(1));
        std::string text;
        for (const auto& chunk : listener->chunks) {
            text += chunk;
        }
        EXPECT_EQ(text, expected);
        ASSERT_FALSE(listener->chunks.empty());
        EXPECT_EQ(std::count(listener->chunks.begin(), listener->chunks.end(), ""), 1);
        EXPECT_EQ(listener->objects.front(), object);
        QVLog::finishWriting();
        EXPECT_EQ(messagesIn(file(1)), *message ? Lines{message} : Lines{});
        while (NSThread::running() > 0) {
            NSThread::waitForAll(1);
        }
        EXPECT_EQ(task->theTask(), nullptr);
        EXPECT_EQ(listener.use_count(), 1) << "the delegate is still kept";
    }
    QVTask::create()->launchAsyncTask();
    EXPECT_EQ(messagesIn(file(1)).back(), "Unable to launch async task - no task set");
}

/// Until no child is left, not even an ended one, and as many descriptors are open as before: what
/// nobody waits for is taken note of by a thread of its own.
bool nothingIsLeft(std::size_t descriptors) {
    const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    siginfo_t child{};
    while (waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT) == 0 ||
           openDescriptors() != descriptors) {
        if (std::chrono::steady_clock::now() > patience) {
            return false;
        }
        std::this_thread::yield();
    }
    return true;
}

TEST_F(TaskTest, leavesNothingBehind) {
    ProcessReaper::shared(); // it and the null device have a descriptor each for good
    QVTask::runTask(says);
    const auto before = openDescriptors();
    onBothThreads([&] {
        for (int run = 0; run < 2'500; ++run) {
            ASSERT_TRUE(QVTask::runTask("/bin/true"));
            ASSERT_EQ(QVTask::stringFromTask("/bin/echo", {"hello"}), "hello\n");
        }
    });
    for (int run = 0; run < 100; ++run) {
        QVTask::runTaskAndReturn("/bin/true");
    }
    EXPECT_TRUE(nothingIsLeft(before)) << openDescriptors() << " descriptors instead of " << before;
}

TEST_F(TaskTest, givesAToolNothingOfItsOwn) {
    const int leak = open("/dev/null", O_RDONLY); // not closed on exec
    sigset_t some, old;
    sigemptyset(&some);
    sigaddset(&some, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &some, &old);
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(QVTask::stringFromTask(TEST_PROGRAMS "/inherits"), "leader\n");
    std::signal(SIGPIPE, handler);
    pthread_sigmask(SIG_SETMASK, &old, nullptr);
    close(leak);
}

} // namespace
