#include "Chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <stdexcept>

namespace {

constexpr int columns = 3, width = 300, height = 190, margin = 52, textSize = 11;
constexpr double roomForNames = 1.3; // of the highest value, above the lines
constexpr std::array colours = {"#1f5fa8", "#b0612a"};

class Axis {
public:
    Axis(bool isLogarithmic, double from, double to, double headroom)
        : isLogarithmic(isLogarithmic) {
        lowest = isLogarithmic ? std::floor(scaled(from)) : std::min(from, 0.0);
        highest = isLogarithmic ? std::ceil(scaled(to)) : to * headroom;
        if (highest <= lowest) {
            highest = lowest + 1;
        }
    }

    /// From 0 to 1.
    double place(double value) const { return (scaled(value) - lowest) / (highest - lowest); }
    double first() const { return isLogarithmic ? std::pow(10, lowest) : lowest; }
    double last() const { return isLogarithmic ? std::pow(10, highest) : highest; }

private:
    double scaled(double value) const {
        return isLogarithmic ? std::log10(std::max(value, 1e-3)) : value;
    }

    bool isLogarithmic;
    double lowest, highest;
};

/// The axis that all values of a kind fit on.
template <class Value>
Axis axisFor(const Chart& chart, double headroom, const Value& value) {
    double from = std::numeric_limits<double>::max(), to = std::numeric_limits<double>::lowest();
    for (const auto& line : chart.lines) {
        for (const auto& point : line.points) {
            from = std::min(from, value(point));
            to = std::max(to, value(point));
        }
    }
    return {chart.isLogarithmic, from, to, headroom};
}

std::string number(double value) {
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.3g", value);
    return text.data();
}

void write(std::ostream& svg, double x, double y, const char* anchor, const std::string& text,
           const char* colour = "#333") {
    svg << "<text x='" << x << "' y='" << y << "' text-anchor='" << anchor << "' fill='" << colour
        << "'>" << text << "</text>\n";
}

void draw(std::ostream& svg, const Chart& chart, int left, int top) {
    const Axis across = axisFor(chart, 1, [](const auto& point) { return point.first; });
    const Axis up = axisFor(chart, roomForNames, [](const auto& point) { return point.second; });
    const int right = left + width - margin / 2, start = left + margin;
    const int floor = top + height - margin, ceiling = top + margin / 2;
    svg << "<rect x='" << start << "' y='" << ceiling << "' width='" << right - start
        << "' height='" << floor - ceiling << "' fill='none' stroke='#bbb'/>\n";
    write(svg, start, top + margin / 3.0, "start", chart.title, "#000");
    write(svg, start - 3, ceiling + textSize, "end", number(up.last()));
    write(svg, start - 3, floor, "end", number(up.first()));
    write(svg, start, floor + textSize + 2, "start", number(across.first()));
    write(svg, right, floor + textSize + 2, "end", number(across.last()));
    for (std::size_t index = 0; index < chart.lines.size(); ++index) {
        const auto& line = chart.lines[index];
        const char* const colour = colours.at(index);
        svg << "<polyline fill='none' stroke-width='1.5' stroke='" << colour << "' points='";
        for (const auto& [x, y] : line.points) {
            svg << start + across.place(x) * (right - start) << ','
                << floor - up.place(y) * (floor - ceiling) << ' ';
        }
        svg << "'/>\n";
        write(svg, start + 4, ceiling + textSize * (1.2 + static_cast<double>(index)), "start",
              line.name, colour);
    }
}

} // namespace

void writeCharts(const std::string& path, const std::vector<Chart>& charts) {
    const int rows = (static_cast<int>(charts.size()) + columns - 1) / columns;
    std::ofstream svg(path);
    svg << "<svg xmlns='http://www.w3.org/2000/svg' width='" << columns * width << "' height='"
        << rows * height << "' font-family='sans-serif' font-size='" << textSize << "'>\n"
        << "<rect width='100%' height='100%' fill='#fff'/>\n";
    for (int index = 0; index < static_cast<int>(charts.size()); ++index) {
        draw(svg, charts[static_cast<std::size_t>(index)], index % columns * width,
             index / columns * height);
    }
    svg << "</svg>\n";
    if (!svg.flush()) {
        throw std::runtime_error("The charts cannot be written to " + path);
    }
}
