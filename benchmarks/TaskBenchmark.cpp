// What a run of a tool costs, beside the bare system calls, popen(3) and QProcess.
#include "Limits.h"

#include "Shared/QVTask.h"
#include "System/Machine.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <QProcess>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::string tool = "/bin/true";
const std::string speaker = SPEAKER;
const std::string text = "hello from a tool\n";
const std::string flood = "/usr/bin/head";
const std::vector<std::string> floodArguments = {"-c", "1073741824", "/dev/zero"};

pid_t spawn(const std::vector<std::string>& command, posix_spawn_file_actions_t* actions) {
    std::vector<char*> arguments;
    for (const auto& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    pid_t process = 0;
    posix_spawn(&process, command.front().c_str(), actions, nullptr, arguments.data(), environ);
    return process;
}

void RunTask(benchmark::State& state) {
    for (auto _ : state) {
        QVTask::runTask(tool);
    }
}

void BareSpawnAndWait(benchmark::State& state) {
    for (auto _ : state) {
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        waitpid(spawn({tool}, &actions), nullptr, 0);
        posix_spawn_file_actions_destroy(&actions);
    }
}

void StringFromTask(benchmark::State& state) {
    for (auto _ : state) {
        if (QVTask::stringFromTask(speaker) != text) {
            state.SkipWithError("wrong output");
        }
    }
}

void Popen(benchmark::State& state) {
    for (auto _ : state) {
        std::FILE* pipe = popen(speaker.c_str(), "r");
        char buffer[256];
        std::string output;
        while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) {
            output += buffer;
        }
        pclose(pipe);
        if (output != text) {
            state.SkipWithError("wrong output");
        }
    }
}

void QtProcess(benchmark::State& state) {
    for (auto _ : state) {
        QProcess process;
        process.start(QString::fromStdString(speaker), QStringList());
        process.waitForFinished();
        if (process.readAllStandardOutput().toStdString() != text) {
            state.SkipWithError("wrong output");
        }
    }
}

void CaptureGibibyte(benchmark::State& state) {
    for (auto _ : state) {
        const auto bytes = QVTask::dataFromTask(flood, floodArguments, nullptr);
        if (!bytes || bytes->size() != 1U << 30) {
            state.SkipWithError("wrong output");
        }
    }
}

void BareReadGibibyte(benchmark::State& state) {
    for (auto _ : state) {
        int ends[2];
        if (pipe(ends) != 0) {
            state.SkipWithError("no pipe");
            break;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        posix_spawn_file_actions_addclose(&actions, ends[1]);
        std::vector<std::string> command = floodArguments;
        command.insert(command.begin(), flood);
        const pid_t process = spawn(command, &actions);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        std::vector<char> buffer(65536);
        std::vector<char> captured;
        ssize_t length = 0;
        while ((length = read(ends[0], buffer.data(), buffer.size())) > 0) {
            captured.insert(captured.end(), buffer.data(), buffer.data() + length);
        }
        close(ends[0]);
        waitpid(process, nullptr, 0);
        benchmark::DoNotOptimize(captured.data());
    }
}

// Many short turns, so that the peers meet the same moods of the machine.
#define RUNS(name)                                                                                 \
    BENCHMARK(name)->Unit(benchmark::kMicrosecond)->UseRealTime()->MinTime(0.03)->Repetitions(61)
RUNS(RunTask);
RUNS(BareSpawnAndWait);
RUNS(StringFromTask);
RUNS(Popen);
RUNS(QtProcess);
#define CAPTURES(name)                                                                             \
    BENCHMARK(name)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(5)
CAPTURES(CaptureGibibyte);
CAPTURES(BareReadGibibyte);

} // namespace

int main(int count, char** arguments) {
    return runWithLimits(count, arguments,
                         {{"RunTask", "BareSpawnAndWait", 1.05},
                          {"StringFromTask", "Popen", 0.5},
                          {"StringFromTask", "QtProcess", 1.0},
                          {"CaptureGibibyte", "BareReadGibibyte", 1 / 0.9}});
}
