#include "Foundation/NSPropertyList.h"

#include "Foundation/NSString.h"

#include <charconv>
#include <limits>

namespace {

constexpr double beyondSigned = 9223372036854775808.0; // 2^63

/// The number that a text consists of, blanks around it aside.
std::optional<std::int64_t> wholeNumber(const std::string& text) {
    const std::string digits = stringByTrimmingWhitespaceAndNewlines(text);
    const bool signedPlus = digits.size() > 1 && digits[0] == '+' && digits[1] != '-';
    const char* const first = digits.data() + (signedPlus ? 1 : 0);
    const char* const last = digits.data() + digits.size();
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(first, last, number);
    return error == std::errc() && end == last ? std::optional(number) : std::nullopt;
}

std::int64_t truncated(double number) {
    if (!(number > -beyondSigned)) { // a value that is no number ends up here
        return number < 0 ? std::numeric_limits<std::int64_t>::min() : 0;
    }
    return number < beyondSigned ? static_cast<std::int64_t>(number)
                                 : std::numeric_limits<std::int64_t>::max();
}

} // namespace

std::optional<double> PropertyList::number() const {
    if (const double* const real = std::get_if<double>(&value)) {
        return *real;
    }
    if (const auto* const whole = std::get_if<NSInteger64>(&value); whole && whole->isUnsigned) {
        return static_cast<double>(static_cast<std::uint64_t>(whole->value));
    }
    const std::optional<std::int64_t> whole = integer();
    return whole ? std::optional(static_cast<double>(*whole)) : std::nullopt;
}

std::optional<std::int64_t> PropertyList::integer() const {
    if (const bool* const flag = boolean()) {
        return *flag ? 1 : 0;
    }
    if (const auto* const whole = std::get_if<NSInteger64>(&value)) {
        return whole->isUnsigned ? std::numeric_limits<std::int64_t>::max() : whole->value;
    }
    if (const double* const real = std::get_if<double>(&value)) {
        return truncated(*real);
    }
    const std::string* const text = string();
    return text ? wholeNumber(*text) : std::nullopt;
}
