// Text operations under the platform's names, on UTF-8 std::string.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

/// One value for a conversion of a format. A text stays the caller's, and must outlive this.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : value(text) {}
    FormatArgument(const std::string& text) : value(std::string_view(text)) {}
    FormatArgument(const char* text) : value(text ? Value(std::string_view(text)) : Value()) {}
    FormatArgument(const std::optional<std::string>& text)
        : value(text ? Value(std::string_view(*text)) : Value()) {}
    FormatArgument(std::nullptr_t) : value(nullptr) {}
    template <class T>
    requires std::is_integral_v<T> || std::is_enum_v<T> FormatArgument(T number)
        : value(static_cast<std::int64_t>(number)) {}
    FormatArgument(double number) : value(number) {}

    using Value = std::variant<std::nullptr_t, std::string_view, std::int64_t, double>;
    Value value;
};

/// Fills a format: `%@` and `%s` take any value, the printf conversions `%d %i %u %x %X %o %c %p %f
/// %F %g %G %e %E` take numbers, each with flags, width and precision (of a text in bytes), `%%` is
/// a percent sign. Decimals stand after a dot whatever the user's language. A missing object or
/// argument reads "(null)". A value is never itself read as a format.
std::string formatString(const std::string& format,
                         std::initializer_list<FormatArgument> arguments);

template <class... Arguments>
std::string stringWithFormat(const std::string& format, const Arguments&... arguments) {
    return formatString(format, {FormatArgument(arguments)...});
}

/// The leading integer: white space, an optional sign, decimal digits up to the first other
/// character. 0 without digits; saturates at the ends of the 64-bit range.
std::int64_t integerValue(const std::string& text);

/// Without white space and newlines (Unicode's) at both ends.
std::string stringByTrimmingWhitespaceAndNewlines(std::string text);

/// Length in UTF-16 code units, the platform's idea of a text's length. A byte that is no UTF-8
/// counts as one.
std::size_t lengthInCharacters(const std::string& text);
