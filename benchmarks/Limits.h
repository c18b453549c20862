// Runs the benchmarks of a program, holds their medians against limits, and prints one line a
// figure.
#pragma once

#include <algorithm>
#include <benchmark/benchmark.h>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

/// `subject` may take at most `factor` times as long as `peer`, in the same run. Without a peer the
/// subject's counter "limited" may be at most `factor`.
struct Limit {
    std::string subject, peer;
    double factor;
};

class LimitReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context&) override { return true; }

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            auto& figure = figures[run.run_name.function_name];
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                             run.error_message.c_str());
                figure.failed = true;
            } else if (run.aggregate_name == "median") {
                figure.time = run.GetAdjustedRealTime();
                figure.unit = benchmark::GetTimeUnitString(run.time_unit);
                const auto counter = run.counters.find("limited");
                figure.counter = counter != run.counters.end() ? counter->second.value : 0;
            } else if (run.aggregate_name == "cv") {
                figure.spread = 100 * run.real_accumulated_time;
            }
        }
    }

    /// Whether all limits are kept. What a filter left out is passed over.
    bool keeps(const std::vector<Limit>& limits) const {
        std::printf("%-6s %-34s %12s %5s  %-26s %12s %5s  %8s %8s\n", "", "work", "median", "+-",
                    "peer", "median", "+-", "ratio", "at most");
        return std::count_if(limits.begin(), limits.end(),
                             [this](const auto& limit) { return !keeps(limit); }) == 0;
    }

private:
    struct Figure {
        double time = 0, counter = 0;
        double spread = 0; // standard deviation of the turns, in per cent of their mean
        std::string unit;
        bool failed = false;
    };

    bool keeps(const Limit& limit) const {
        const auto own = figures.find(limit.subject);
        const auto peer = figures.find(limit.peer);
        if (own == figures.end() || (!limit.peer.empty() && peer == figures.end())) {
            return true;
        }
        const bool isCounter = limit.peer.empty();
        const double value = isCounter ? own->second.counter : own->second.time / peer->second.time;
        const bool failed = own->second.failed || (!isCounter && peer->second.failed);
        const bool kept = !failed && value <= limit.factor;
        std::printf("%-6s %-34s ", kept ? "kept" : "MISSED", limit.subject.c_str());
        print(own->second);
        std::printf("  %-26s ", limit.peer.c_str());
        isCounter ? void(std::printf("%12s %5s", "", "")) : print(peer->second);
        std::printf("  %8.3g %8.3g\n", value, limit.factor);
        return kept;
    }

    static void print(const Figure& figure) {
        std::printf("%9.4g %-2s %3.0f %%", figure.time, figure.unit.c_str(), figure.spread);
    }

    std::map<std::string, Figure> figures; // by the benchmark's name
};

inline int runWithLimits(int count, char** arguments, const std::vector<Limit>& limits) {
    // The peers take turns, so that a change of the machine's mood meets all of them.
    std::vector<char*> all(arguments, arguments + count);
    std::string interleaving = "--benchmark_enable_random_interleaving=true";
    std::string aggregates = "--benchmark_report_aggregates_only=true";
    all.insert(all.begin() + 1, {interleaving.data(), aggregates.data()});
    int allCount = static_cast<int>(all.size());
    benchmark::Initialize(&allCount, all.data());
    LimitReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.keeps(limits) ? 0 : 1;
}
