#include "Foundation/NSDate.h"

#include <array>
#include <ctime>

std::string_view descriptionOfDate(std::chrono::system_clock::time_point date) {
    // A log asks many times a second, and the time zone's rules are slow to look up. No objects
    // here: those of the main thread are gone when the program's end writes its last lines.
    static thread_local std::time_t knownSecond = 0;
    static thread_local std::array<char, 64> text{};
    static thread_local std::size_t length = 0;
    const auto second = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count();
    if (length == 0 || second != knownSecond) {
        const std::time_t time = second;
        std::tm parts{};
        localtime_r(&time, &parts);
        length = std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S %z", &parts);
        knownSecond = second;
    }
    return {text.data(), length};
}
