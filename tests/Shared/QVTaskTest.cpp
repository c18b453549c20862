#include "LogFixture.h"

#include "Foundation/NSException.h"
#include "Foundation/NSRunLoop.h"
#include "Foundation/NSThread.h"
#include "Shared/QVTask.h"
#include "support/RealTime.h"
#include "System/ProcessReaper.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

namespace {

/// The tools are scripts of the shell, which find the test's folder in $0.
class TaskTest : public WithLog<MachineTest> {
protected:
    TaskTest() {
        QVLog::createNewLog("App");
        mkfifo((directory.path() + "/ready").c_str(), 0600);
    }
    QVTask::Arguments script(const std::string& text) const {
        return {"-c", text, directory.path()};
    }
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
    /// Lets virtual time pass once the tool has written to the fifo, whatever waits for it.
    std::thread timePassesWhenReady() {
        clock->toolsCountAsIdle = false;
        return std::thread([this] {
            close(open((directory.path() + "/ready").c_str(), O_RDONLY));
            clock->toolsCountAsIdle = true;
            clock->outsideWorkEnds();
        });
    }
    void expectReports(const Lines& logged, const Lines& printed) {
        QVLog::finishWriting();
        EXPECT_EQ(messagesIn(file(1)), logged);
        EXPECT_EQ(console(), printed);
        QVLog::createNewLog();
        machine->clearConsole();
    }

    const std::string shell = "/bin/sh";
};

TEST_F(TaskTest, handsBackWhatTheToolWrote) {
    const struct {
        const char* script;
        std::optional<std::string> text;
        NSStringEncoding encoding = NSASCIIStringEncoding;
    } cases[] = {
        {"printf abc", "abc"},
        {"printf abc; printf ! >&2; printf def", "!"},
        {"printf 'one ' >&2; printf x; printf 'two ' >&2; printf y; printf 3 >&2", "one two 3"},
        {"printf gone; kill -9 $$", "gone"},
        {"printf 'caf\\303\\251'", std::nullopt},
        {"printf 'caf\\303\\251'", "caf\xC3\xA9", NSUTF8StringEncoding},
        {"cat", ""}, // its input is empty
        {"head -c 64M /dev/zero >&2; head -c 64M /dev/zero | tr '\\0' o",
         std::string(64 << 20, '\0')},
        // Of this process it has the three standard files alone, default signals and no group. The
        // C library keeps signals 32 and 33, the digits 1 and 8, for itself.
        {"ls /proc/$$/fd; grep -cE 'Sig(Blk:.0{16}|Ign:.0{7}[01][08]0{7})' /proc/self/status; "
         "[ $(cut -d' ' -f5 /proc/$$/stat) = $$ ] && echo leader",
         "0\n1\n2\n2\nleader\n"},
    };
    const FileDescriptor leak(open("/dev/null", O_RDONLY)); // not closed on exec
    sigset_t some{};
    sigaddset(&some, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &some, nullptr);
    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    onBothThreads([&] {
        for (const auto& [text, result, encoding] : cases) {
            const auto run = script(text);
            EXPECT_TRUE(QVTask::stringFromTask(shell, run, encoding, nullptr) == result) << text;
            EXPECT_TRUE(QVTask::stringFromTask(shell, run, encoding, 10.0) == result) << text;
        }
        EXPECT_EQ(QVTask::terminationCodeFromTask(shell, script("exit 3")), 3);
        EXPECT_EQ(QVTask::terminationCodeFromTask(shell, script("kill -11 $$"), 10.0), 11);
        EXPECT_TRUE(QVTask::runTask(shell, script("exit 1")));
    });
    std::signal(SIGPIPE, handler);
    pthread_sigmask(SIG_UNBLOCK, &some, nullptr);
    NSRunLoop::mainRunLoop().runUntil([] { return false; },
                                      clock->now() + std::chrono::seconds(11));
    expectReports({}, {});
}

TEST_F(TaskTest, refusesWhatIsNotExecutable) {
    const auto app = machine->root() + "/Applications/Tolvin.app";
    std::filesystem::create_directories(app + "/Contents/MacOS");
    std::ofstream(machine->root() + "/date") << "data, not the machine's tool of that name";
    machine->tools[app] = app; // as if the lookup let it pass
    for (const std::string path : {"/date", app.c_str(), "/no/such/tool-here", "relative", ""}) {
        onBothThreads([&] {
            EXPECT_FALSE(QVTask::runTask(path));
            EXPECT_EQ(QVTask::terminationCodeFromTask(path), -1);
            EXPECT_EQ(QVTask::dataFromTask(path, {}, nullptr), std::nullopt);
            EXPECT_EQ(QVTask::stringFromTask(path, {}, NSUTF8StringEncoding, 0.0), "");
            QVTask::runTaskAndReturn(path);
        });
        EXPECT_THROW(QVTask::runTask(shell, {"-c", std::string("exit\0 1", 7)}), NSException);
        const Lines expected(10, "Error: " + path + " is not executable");
        expectReports(expected, expected);
    }
}

TEST_F(TaskTest, endsWhatTakesTooLong) {
    const std::string stays = ": > $0/ready; exec sleep 120";
    const struct {
        std::string script, text;
        int status;
        double timeout, ended; // seconds
    } cases[] = {
        {"printf before; " + stays, "before", SIGTERM, 10, 10},
        {"exec >&- 2>&-; " + stays, "", SIGTERM, 2.9, 2},
        {"trap '' TERM; sleep 120 & printf both; " + stays, "both", SIGKILL, 10, 15},
    };
    for (const auto& each : cases) {
        const auto run = script(each.script);
        onBothThreads([&] {
            const auto start = clock->seconds();
            auto ready = timePassesWhenReady();
            EXPECT_EQ(QVTask::stringFromTask(shell, run, each.timeout), each.text);
            ready.join();
            // A tool that ends by itself when asked to may be seen to do so later.
            EXPECT_GE(clock->seconds() - start, each.ended);
            EXPECT_LE(clock->seconds() - start, 15 + each.timeout);
            ready = timePassesWhenReady();
            EXPECT_EQ(QVTask::terminationCodeFromTask(shell, run, each.timeout), each.status);
            ready.join();
        });
        expectReports(Lines(4, "Task /bin/sh timed out. Terminating..."),
                      Lines(4, "Task timed out. Terminating..."));
    }
    // The timer of a run that has ended is none of the next one's.
    const auto task = QVTask::create();
    const auto start = clock->seconds();
    clock->toolsCountAsIdle = false;
    EXPECT_EQ(task->terminationCodeFromTaskInstance(shell, script("exit 3"), 5), 3);
    auto ready = timePassesWhenReady();
    EXPECT_EQ(task->terminationCodeFromTaskInstance(shell, script(stays), 10), SIGTERM);
    ready.join();
    EXPECT_GE(clock->seconds() - start, 10);
}

using RealTimeTaskTest = WithLog<RealTimeMachineTest>;

TEST_F(RealTimeTaskTest, doesNotWaitForWhoeverStillHoldsTheOutput) {
    EXPECT_EQ(QVTask::stringFromTask("/bin/sh", {"-c", "sleep 120 & printf gone"}, 3.0), "gone");
    EXPECT_EQ(QVTask::terminationCodeFromTask("/bin/sh", {"-c", "sleep 120 & exit 3"}, 3.0), 3);
    EXPECT_TRUE(console().empty());
    // Nor for one that floods without end, or has left its process group.
    const auto flood = QVTask::dataFromTask("/bin/sh", {"-c", "exec yes"}, nullptr);
    EXPECT_GT(flood->size(), NSTask::maximumOutput);
    EXPECT_LT(flood->size(), 2 * NSTask::maximumOutput);
    EXPECT_EQ(console().front(), "Task wrote too much. Terminated");
    EXPECT_EQ(QVTask::terminationCodeFromTask(
                  "/usr/bin/perl", {"-e", "setpgrp(0, getpgrp(getppid)); sleep 120"}, 1.0),
              SIGTERM);
}

struct Listener {
    std::string text;
    bool raises = false;
    std::vector<std::shared_ptr<void>> ends; // what each end of the output came with
    void take(const NSData& bytes, QVTask&, const std::shared_ptr<void>& object) {
        text.append(bytes.begin(), bytes.end());
        ends.insert(ends.end(), bytes.empty() ? 1 : 0, object);
        if (raises) {
            throw NSException("N", "keeps no run from its end");
        }
    }
};

TEST_F(TaskTest, deliversOutputAsItComes) {
    const auto object = std::make_shared<int>(7);
    const std::tuple<std::string, std::string, std::string, Lines> cases[] = {
        {shell, "printf one; printf hidden >&2; printf two", "onetwo", {}},
        {shell, "", "", {}},
        {"/no/such", "", "", {"Unable to launch async task - There is no program at /no/such"}}};
    for (const auto& [path, text, expected, messages] : cases) {
        const auto task = QVTask::create();
        const auto listener = std::make_shared<Listener>();
        listener->raises = expected.empty();
        task->asyncDataFromTask(path, script(text), listener, &Listener::take, object);
        ASSERT_TRUE(threadsEnd());
        EXPECT_EQ(listener->text, expected);
        EXPECT_EQ(listener->ends, std::vector<std::shared_ptr<void>>{object});
        EXPECT_EQ(task->theTask(), nullptr);
        EXPECT_EQ(listener.use_count(), 1) << "the delegate is still kept";
        expectReports(messages, Lines(listener->raises ? 1 : 0,
                                      "Uncaught exception: N - keeps no run from its end"));
    }
    const auto task = QVTask::create();
    const auto listener = std::make_shared<Listener>();
    task->asyncDataFromTask(shell, script("exec sleep 120"), listener, &Listener::take);
    while (!task->theTask()->isRunning()) {
        std::this_thread::yield();
    }
    task->terminateAsyncTask();
    ASSERT_TRUE(threadsEnd());
    EXPECT_TRUE(listener.use_count() == 1 && listener->ends.empty()) << "told after the end";
    for (int turn = 0; turn < 30; ++turn) { // one that was ended before its start is not the next
        task->asyncDataFromTask(shell, script("exec sleep 120"), listener, &Listener::take);
        task->terminateAsyncTask();
        task->asyncDataFromTask(shell, script("printf x"), listener, &Listener::take);
        ASSERT_TRUE(threadsEnd());
    }
    EXPECT_EQ(listener->text, std::string(30, 'x'));
    EXPECT_EQ(listener->ends.size(), 30U);
    task->launchAsyncTask();
    expectReports({"Unable to launch async task - no task set"}, {});
}

TEST_F(TaskTest, leavesNothingBehind) {
    const auto work = [] {
        for (const auto& call : std::initializer_list<std::function<void()>>{
                 [] { QVTask::runTask("/bin/true", {}, 60.0); },
                 [] { QVTask::stringFromTask("/bin/echo", {"hello"}); },
                 [] { QVTask::runTaskAndReturn("/bin/true"); }}) {
            reportExceptions(call);
        }
    };
    const auto descriptorsAndZombies = [] {
        siginfo_t child{};
        waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT);
        return std::pair(entries("/proc/self/fd"), child.si_pid);
    };
    ProcessReaper::shared(); // it and the null device have a descriptor each for good
    work();
    threadsEnd();
    const auto before = descriptorsAndZombies();
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    for (rlim_t free = 0; free <= 50; ++free) {
        // With next to no descriptors every call works or raises, and still leaves nothing behind.
        // The sanitizers' own checks take a descriptor, and take its lack for a fault.
#if !defined(__SANITIZE_ADDRESS__)
        const rlimit few{static_cast<rlim_t>(FileDescriptor(dup(0)).get()) + free, usual.rlim_max};
        setrlimit(RLIMIT_NOFILE, &few);
#endif
        for (int thread = 0; thread < 5; ++thread) {
            NSThread::detachNewThread(work);
        }
        EXPECT_TRUE(threadsEnd()) << free;
        setrlimit(RLIMIT_NOFILE, &usual);
        work();
    }
    // What nobody waits for is taken note of by a thread of its own, in its own time.
    EXPECT_TRUE(eventually([&] { return descriptorsAndZombies() == before; }));
}

} // namespace
