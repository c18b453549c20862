// Charts as an SVG picture: small ones in rows, so that many figures can be looked at together.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct Line {
    std::string name;
    std::vector<std::pair<double, double>> points; // in the order of x
};

struct Chart {
    std::string title;
    std::vector<Line> lines; // at most two
    bool isLogarithmic =
        false; // in both directions: a straight line at 45 degrees is linear growth
};

/// Writes the file, or replaces it. Throws std::runtime_error when it cannot.
void writeCharts(const std::string& path, const std::vector<Chart>& charts);
