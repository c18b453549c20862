#include "System/PropertyListScalars.h"

#include "System/PropertyListError.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>

namespace {

constexpr auto require = PropertyListError::unless;
constexpr std::string_view dateForm = "0000-00-00T00:00:00Z";

std::string_view withoutBlanks(std::string_view text) {
    constexpr auto blanks = " \t\r\n";
    const std::size_t start = std::min(text.find_first_not_of(blanks), text.size());
    return text.substr(start, text.find_last_not_of(blanks) + 1 - start);
}

bool takeIfThere(std::string_view& text, std::string_view start) {
    const bool isThere = text.starts_with(start);
    text.remove_prefix(isThere ? start.size() : 0);
    return isThere;
}

/// With attributes or without, and perhaps empty.
bool begins(std::string_view tag, std::string_view element) {
    return tag.starts_with(element) &&
           (tag.size() == element.size() ||
            std::string_view(" \t\r\n/").find(tag[element.size()]) != std::string_view::npos);
}

/// Its sign and digits, without zeros before them.
std::string plainInteger(std::string_view digits) {
    constexpr std::uint64_t lowest = 1ULL << 63U;
    const bool isNegative = takeIfThere(digits, "-");
    if (!isNegative) {
        takeIfThere(digits, "+");
    }
    const bool isHexadecimal = takeIfThere(digits, "0x") || takeIfThere(digits, "0X");
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value,
                                              isHexadecimal ? 16 : 10);
    require(error == std::errc() && end == digits.data() + digits.size() &&
                (!isNegative || value <= lowest),
            "a number is damaged");
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size() - 1));
    return (isNegative ? "-" : "") + std::string(isHexadecimal ? "0x" : "") + std::string(digits);
}

bool isReal(std::string_view text) {
    double value = 0;
    const bool isPositive = takeIfThere(text, "+");
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return !(isPositive && text.starts_with('-')) && error != std::errc::invalid_argument &&
           end == text.data() + text.size();
}

bool isDate(std::string_view text) {
    if (text.size() != dateForm.size() ||
        !std::equal(text.begin(), text.end(), dateForm.begin(), [](char letter, char form) {
            return form == '0' ? letter >= '0' && letter <= '9' : letter == form;
        })) {
        return false;
    }
    const auto number = [&](std::size_t start, std::size_t length) {
        unsigned value = 0;
        std::from_chars(text.data() + start, text.data() + start + length, value);
        return value;
    };
    const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(number(0, 4))),
                                          std::chrono::month(number(5, 2)),
                                          std::chrono::day(number(8, 2))};
    return day.ok() && number(11, 2) < 24 && number(14, 2) < 60 && number(17, 2) < 60;
}

} // namespace

bool isPropertyListScalar(std::string_view tag) {
    return begins(tag, "integer") || begins(tag, "real") || begins(tag, "date");
}

void settlePropertyListScalar(std::string_view tag, std::span<char> content) {
    const auto text = withoutBlanks({content.data(), content.size()});
    if (begins(tag, "integer")) {
        std::string number = plainInteger(text);
        number.resize(content.size(), ' ');
        std::copy(number.begin(), number.end(), content.begin());
    } else if (begins(tag, "real")) {
        require(isReal(text), "a number is damaged");
    } else {
        require(isDate(text), "a date does not exist");
    }
}
