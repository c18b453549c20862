// Runs the benchmarks of a program and holds their medians against limits.
#pragma once

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

class LimitReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const auto& run : runs) {
            if (run.aggregate_name == "median") {
                times[run.run_name.function_name] = run.GetAdjustedRealTime();
                const auto counter = run.counters.find("limited");
                if (counter != run.counters.end()) {
                    counters[run.run_name.function_name] = counter->second.value;
                }
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    /// Whether all limits are kept; prints each with what was measured. What a filter left out is
    /// passed over.
    bool keeps(const std::vector<Limit>& limits) const {
        bool kept = true;
        for (const auto& limit : limits) {
            const auto& values = limit.peer.empty() ? counters : times;
            if (!values.contains(limit.subject) ||
                (!limit.peer.empty() && !times.contains(limit.peer))) {
                continue;
            }
            const double value =
                values.at(limit.subject) / (limit.peer.empty() ? 1 : times.at(limit.peer));
            kept = kept && value <= limit.factor;
            std::printf("%-6s %s%s%s: %.3g, at most %.3g\n",
                        value <= limit.factor ? "kept" : "MISSED", limit.subject.c_str(),
                        limit.peer.empty() ? "" : " / ", limit.peer.c_str(), value, limit.factor);
        }
        return kept;
    }

private:
    std::map<std::string, double> times, counters;
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
