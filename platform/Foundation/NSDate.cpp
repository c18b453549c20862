#include "Foundation/NSDate.h"

#include <array>
#include <ctime>

namespace {

std::string describe(std::time_t second) {
    std::tm parts{};
    localtime_r(&second, &parts);
    std::array<char, 64> text{};
    const auto length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &parts);
    return {text.data(), length};
}

} // namespace

const std::string& descriptionOfDate(std::chrono::system_clock::time_point date) {
    // A log asks many times a second, and the time zone's rules are slow to look up.
    static thread_local std::time_t knownSecond = -1;
    static thread_local std::string known;
    const auto second = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count();
    if (known.empty() || second != knownSecond) {
        known = describe(second);
        knownSecond = second;
    }
    return known;
}
