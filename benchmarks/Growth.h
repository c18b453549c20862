// How the cost of a piece of work grows with its size, beside a peer that does the same.
#pragma once

#include "Chart.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <limits>
#include <string>
#include <utility>
#include <vector>

/// The cost of a work of some size: microseconds, or bytes.
using Cost = std::function<double(std::size_t size)>;

/// Microseconds that it takes.
template <class Work>
double timeOf(const Work& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

struct Growth {
    std::string work, unit;
    std::size_t smallest = 1; // of three sizes, each ten times the one before
    Cost cost;
    std::string peer; // empty for none
    Cost peerCost;
    double factor = 0; // that it may cost of what the peer does at the largest size; 0 for any
};

/// Linear, with room for what larger data costs in memory that is further away.
inline constexpr double mostExponent = 1.1;
/// Bytes that a process may hold or not, whatever it does: glibc hands free memory back in steps of
/// 128 KiB.
inline constexpr double memoryNoise = 128 * 1024;

class GrowthTable {
public:
    /// Prints a line; false when the work grows faster than linear and than its peer, or costs more
    /// than it may.
    bool row(const Growth& growth) {
        const auto own = leastCosts(growth.cost, growth.smallest);
        const auto peer = growth.peer.empty() ? std::vector<double>()
                                              : leastCosts(growth.peerCost, growth.smallest);
        const double noise = growth.unit == "bytes" ? memoryNoise : 0;
        const double peerExponent = peer.empty() ? 0 : exponent(peer, noise);
        const double ratio = peer.empty() ? 0 : own.back() / peer.back();
        const bool kept = exponent(own, noise) <= std::max(mostExponent, peerExponent + 0.05) &&
                          (growth.factor == 0 || ratio <= growth.factor);
        std::printf("%-6s %-44s %8zu  %10.4g %10.4g %10.4g %-5s  exponent %5.2f",
                    kept ? "kept" : "MISSED", growth.work.c_str(), growth.smallest, own[0], own[1],
                    own[2], growth.unit.c_str(), exponent(own, noise));
        if (!peer.empty()) {
            std::printf("; %s %.2f, ratio %.2f", growth.peer.c_str(), peerExponent, ratio);
            if (growth.factor != 0) {
                std::printf(" (at most %.2f)", growth.factor);
            }
        }
        std::printf("\n");
        std::fflush(stdout);
        drawn.push_back({growth.work + ", " + growth.unit, {lineOf("ours", growth, own)}, true});
        if (!peer.empty()) {
            drawn.back().lines.push_back(lineOf(growth.peer, growth, peer));
        }
        return kept;
    }

    /// One for each line that was printed.
    const std::vector<Chart>& charts() const { return drawn; }

private:
    static Line lineOf(const std::string& name, const Growth& growth,
                       const std::vector<double>& costs) {
        Line line{name, {}};
        double size = static_cast<double>(growth.smallest);
        for (const double cost : costs) {
            line.points.emplace_back(size, cost);
            size *= 10;
        }
        return line;
    }

    /// At the three sizes: of several turns the least, which other work on the machine lengthens
    /// least.
    static std::vector<double> leastCosts(const Cost& cost, std::size_t size) {
        constexpr int turns = 3;
        std::vector<double> least(3, std::numeric_limits<double>::max());
        for (auto& value : least) {
            for (int turn = 0; turn < turns; ++turn) {
                value = std::min(value, cost(size));
            }
            size *= 10;
        }
        return least;
    }

    /// Of the growth from the middle to the largest size, of what is more than noise.
    static double exponent(const std::vector<double>& costs, double noise) {
        const auto audible = [&](double cost) { return std::max({cost, noise, 1e-3}); };
        return std::log10(audible(costs[2]) / audible(costs[1]));
    }

    std::vector<Chart> drawn;
};
