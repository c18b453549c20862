// What a run of a tool costs, beside the bare system calls, popen(3) and QProcess.
#include "BareRun.h"
#include "Limits.h"

#include "Shared/QVTask.h"
#include "System/Machine.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <QProcess>

namespace {

const std::string tool = "/bin/true";
const std::string speaker = SPEAKER;
const std::string text = "hello from a tool\n";
constexpr std::size_t floodSize = 60'000'000; // near to what a tool may write
const std::string flood = "/usr/bin/head";
const std::vector<std::string> floodArguments = {"-c", std::to_string(floodSize), "/dev/zero"};

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

void CaptureFlood(benchmark::State& state) {
    for (auto _ : state) {
        const auto bytes = QVTask::dataFromTask(flood, floodArguments, nullptr);
        if (!bytes || bytes->size() != floodSize) {
            state.SkipWithError("wrong output");
        }
    }
}

void BareReadFlood(benchmark::State& state) {
    std::vector<std::string> command = floodArguments;
    command.insert(command.begin(), flood);
    for (auto _ : state) {
        const auto captured = bareOutput(command);
        if (captured.size() != floodSize) {
            state.SkipWithError("wrong output");
        }
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
    BENCHMARK(name)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1)->Repetitions(31)
CAPTURES(CaptureFlood);
CAPTURES(BareReadFlood);

} // namespace

int main(int count, char** arguments) {
    return runWithLimits(count, arguments,
                         {{"RunTask", "BareSpawnAndWait", 1.05},
                          {"StringFromTask", "Popen", 0.5},
                          {"StringFromTask", "QtProcess", 1.0},
                          {"CaptureFlood", "BareReadFlood", 1 / 0.9}});
}
