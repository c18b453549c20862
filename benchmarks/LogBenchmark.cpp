// What a line in the log costs its caller and the machine, beside a bare loop that formats and
// writes, and beside a rotating file sink of spdlog that flushes every line.
#include "Limits.h"

#include "Shared/QVLog.h"
#include "System/Machine.h"
#include "System/SandboxMachine.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <spdlog/async.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

namespace {

constexpr int batch = 20'000;
constexpr std::size_t fileSize = 500'000;
const std::string longMessage(100, 'm');
const std::string shortMessage(50, 's');

std::string folder() {
    static const std::string path = [] {
        std::string pattern = std::filesystem::temp_directory_path() / "log-benchmark-XXXXXX";
        return std::string(mkdtemp(pattern.data()));
    }();
    return path;
}

/// How often this process has called write(2) and its like.
double writeCalls() {
    std::ifstream file("/proc/self/io");
    std::string name;
    double value = 0;
    while (file >> name >> value && name != "syscw:") {
    }
    return value;
}

void bareLoop(benchmark::State& state, const std::string& message) {
    const int file =
        open((folder() + "/bare.log").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0644);
    for (auto _ : state) {
        for (int line = 0; line < batch; ++line) {
            timespec now{};
            clock_gettime(CLOCK_REALTIME, &now);
            std::tm parts{};
            localtime_r(&now.tv_sec, &parts);
            std::array<char, 64> date{};
            strftime(date.data(), date.size(), "%Y-%m-%d %H:%M:%S %z", &parts);
            std::array<char, 256> text{};
            const int length = snprintf(text.data(), text.size(), "%s - line %d %s\n", date.data(),
                                        line, message.c_str());
            if (write(file, text.data(), static_cast<std::size_t>(length)) != length) {
                state.SkipWithError("cannot write");
            }
        }
        state.PauseTiming();
        [[maybe_unused]] const int result = ftruncate(file, 0);
        state.ResumeTiming();
    }
    close(file);
}

void logLines(benchmark::State& state, const std::string& message) {
    QVLog::createNewLog("benchmark");
    const double before = writeCalls();
    for (auto _ : state) {
        for (int line = 0; line < batch; ++line) {
            QVLog::appendLog("line %d %@", line, message);
        }
        QVLog::finishWriting();
    }
    const double calls = writeCalls() - before;
    state.counters["writes_a_line"] =
        calls / (static_cast<double>(state.iterations()) * static_cast<double>(batch));
}

/// What each caller waits for: the median in nanoseconds is the limited figure.
void CallsForLongLines(benchmark::State& state) {
    QVLog::createNewLog("benchmark");
    std::vector<double> costs;
    for (auto _ : state) {
        auto last = std::chrono::steady_clock::now();
        for (int line = 0; line < batch; ++line) {
            QVLog::appendLog("line %d %@", line, longMessage);
            const auto now = std::chrono::steady_clock::now();
            costs.push_back(std::chrono::duration<double, std::nano>(now - last).count());
            last = now;
        }
        QVLog::finishWriting();
    }
    std::nth_element(costs.begin(), costs.begin() + costs.size() / 2, costs.end());
    state.counters["limited"] = costs[costs.size() / 2];
}

void spdlogLines(benchmark::State& state, spdlog::logger& logger, const std::string& message) {
    logger.set_pattern("%Y-%m-%d %H:%M:%S %z - %v");
    logger.flush_on(spdlog::level::info);
    for (auto _ : state) {
        for (int line = 0; line < batch; ++line) {
            logger.info("line {} {}", line, message);
        }
    }
}

std::shared_ptr<spdlog::sinks::rotating_file_sink_mt> rotatingSink() {
    return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(folder() + "/spdlog.log",
                                                                  fileSize, 4);
}

void LogLongLines(benchmark::State& state) { logLines(state, longMessage); }
void LogShortLines(benchmark::State& state) { logLines(state, shortMessage); }
void BareLongLines(benchmark::State& state) { bareLoop(state, longMessage); }
void BareShortLines(benchmark::State& state) { bareLoop(state, shortMessage); }
void SpdlogShortLines(benchmark::State& state) {
    spdlog::logger logger("sync", rotatingSink());
    spdlogLines(state, logger, shortMessage);
}
void SpdlogLongLines(benchmark::State& state) {
    const auto sink = rotatingSink();
    for (auto _ : state) {
        // Every line is on the disk when the pool has ended, as with a log that has been drained.
        auto pool = std::make_shared<spdlog::details::thread_pool>(8192, 1);
        auto logger = std::make_shared<spdlog::async_logger>("async", sink, pool);
        logger->set_pattern("%Y-%m-%d %H:%M:%S %z - %v");
        logger->flush_on(spdlog::level::info);
        for (int line = 0; line < batch; ++line) {
            logger->info("line {} {}", line, longMessage);
        }
        logger.reset();
        pool.reset();
    }
}

// Many short turns, so that the peers meet the same moods of the machine.
#define LINES(name)                                                                                \
    BENCHMARK(name)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(0.05)->Repetitions(31)
LINES(CallsForLongLines);
LINES(LogLongLines);
LINES(BareLongLines);
LINES(SpdlogLongLines);
LINES(LogShortLines);
LINES(BareShortLines);
LINES(SpdlogShortLines);

} // namespace

int main(int count, char** arguments) {
    Machine::install(std::make_shared<SandboxMachine>(folder()));
    const int status = runWithLimits(count, arguments,
                                     {{"CallsForLongLines", "", 500},
                                      {"LogLongLines", "BareLongLines", 1.3},
                                      {"LogLongLines", "SpdlogLongLines", 1.0},
                                      {"LogShortLines", "BareShortLines", 1.5},
                                      {"LogShortLines", "SpdlogShortLines", 1.3}});
    QVLog::finishWriting();
    std::filesystem::remove_all(folder());
    return status;
}
