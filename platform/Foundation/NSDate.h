// Dates, and dates as text.
#pragma once

#include <chrono>
#include <string_view>

/// To the second, as property lists have it; far past and far future included.
using NSDate = std::chrono::sys_seconds;

/// Local time with its offset from UTC: "2026-11-16 21:45:07 +0100". Any thread; the text holds
/// until that thread asks again.
std::string_view descriptionOfDate(std::chrono::system_clock::time_point date);
