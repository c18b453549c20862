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
        const auto [own, peer, ratio] = measure(growth);
        const double noise = growth.unit == "bytes" ? memoryNoise : 0;
        const double peerExponent = peer.empty() ? 0 : exponent(peer, noise);
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
    using Costs = std::vector<double>; // at the three sizes
    struct Measured {
        Costs own, peer;
        double ratio = 0; // 0 without a peer
    };

    static Line lineOf(const std::string& name, const Growth& growth, const Costs& costs) {
        Line line{name, {}};
        double size = static_cast<double>(growth.smallest);
        for (const double cost : costs) {
            line.points.emplace_back(size, cost);
            size *= 10;
        }
        return line;
    }

    /// Of several turns at each size the least, which other work on the machine lengthens least,
    /// and the middle one of the ratios at the largest. Each goes first every other time, since the
    /// second finds the heap as the first left it.
    static Measured measure(const Growth& growth) {
        const bool hasPeer = !growth.peer.empty();
        const int turns = growth.factor != 0 ? 9 : 3;
        constexpr double most = std::numeric_limits<double>::max();
        Measured measured{Costs(3, most), Costs(hasPeer ? 3 : 0, most), 0};
        std::size_t size = growth.smallest;
        for (std::size_t step = 0; step < 3; ++step, size *= 10) {
            std::vector<double> ratios;
            for (int turn = 0; turn < turns; ++turn) {
                const bool isPeerFirst = hasPeer && turn % 2 == 1;
                const double peerBefore = isPeerFirst ? growth.peerCost(size) : 0;
                const double own = growth.cost(size);
                measured.own[step] = std::min(measured.own[step], own);
                if (hasPeer) {
                    const double peer = isPeerFirst ? peerBefore : growth.peerCost(size);
                    measured.peer[step] = std::min(measured.peer[step], peer);
                    ratios.push_back(own / peer);
                }
            }
            measured.ratio = middle(ratios);
        }
        return measured;
    }

    static double middle(std::vector<double> values) {
        std::sort(values.begin(), values.end());
        return values.empty() ? 0 : values[values.size() / 2];
    }

    /// Of the growth from the middle to the largest size, of what is more than noise.
    static double exponent(const Costs& costs, double noise) {
        const auto audible = [&](double cost) { return std::max({cost, noise, 1e-3}); };
        return std::log10(audible(costs[2]) / audible(costs[1]));
    }

    std::vector<Chart> drawn;
};
