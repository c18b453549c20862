#include "Foundation/NSString.h"

#include "System/PlainNumbers.h"
#include "System/UTF8.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

namespace {

bool isWhitespaceOrNewline(char32_t character) {
    return (character >= 0x09 && character <= 0x0D) || character == 0x20 || character == 0x85 ||
           character == 0xA0 || character == 0x1680 ||
           (character >= 0x2000 && character <= 0x200B) || character == 0x2028 ||
           character == 0x2029 || character == 0x202F || character == 0x205F || character == 0x3000;
}

/// One conversion of a format: "%-8.2f" has the flags "-8.2" and the letter 'f'.
struct Conversion {
    std::string flags;
    char letter = 0;
    std::size_t end = 0;
};

Conversion parseConversion(const std::string& format, std::size_t start) {
    Conversion conversion;
    std::size_t position = start + 1;
    while (position < format.size() &&
           std::string_view("-+ #0123456789.").find(format[position]) != std::string_view::npos) {
        conversion.flags += format[position++];
    }
    while (position < format.size() &&
           std::string_view("hlqLzt").find(format[position]) != std::string_view::npos) {
        ++position; // every whole number is 64 bits wide here
    }
    conversion.letter = position < format.size() ? format[position++] : '\0';
    conversion.end = position;
    return conversion;
}

template <class Number>
std::string print(const std::string& flags, const std::string& letters, Number number) {
    const PlainNumbers plainNumbers;
    const std::string format = "%" + flags + letters;
    std::array<char, 512> buffer{};
    const int length = std::snprintf(buffer.data(), buffer.size(), format.c_str(), number);
    return {buffer.data(), std::min<std::size_t>(static_cast<std::size_t>(std::max(length, 0)),
                                                 buffer.size() - 1)};
}

std::string describe(const FormatArgument& argument) {
    if (const auto* text = std::get_if<std::string_view>(&argument.value)) {
        return std::string(*text);
    }
    if (const auto* number = std::get_if<std::int64_t>(&argument.value)) {
        return std::to_string(*number);
    }
    if (const auto* real = std::get_if<double>(&argument.value)) {
        return print("", "g", *real);
    }
    return "(null)";
}

/// A text cut to the precision and filled up to the width of the flags.
std::string padded(std::string text, const std::string& flags) {
    const auto dot = flags.find('.');
    if (dot != std::string::npos) {
        text.resize(
            std::min(text.size(), static_cast<std::size_t>(integerValue(flags.substr(dot + 1)))));
    }
    const auto digits = std::min(flags.find_first_of("123456789"), dot);
    const auto width =
        digits < flags.size() ? static_cast<std::size_t>(integerValue(flags.substr(digits))) : 0;
    if (text.size() < width) {
        const bool left = flags.find('-') != std::string::npos;
        text.insert(left ? text.size() : 0, width - text.size(), ' ');
    }
    return text;
}

std::string convert(const Conversion& conversion, const FormatArgument& argument) {
    const auto* number = std::get_if<std::int64_t>(&argument.value);
    const auto* real = std::get_if<double>(&argument.value);
    const std::string letter(1, conversion.letter);
    if (conversion.flags.empty() && (letter == "d" || letter == "i")) {
        return describe(argument); // the usual one, and much faster
    }
    if (number && std::string_view("diuxXo").find(conversion.letter) != std::string_view::npos) {
        return print(conversion.flags, "ll" + letter, static_cast<long long>(*number));
    }
    if (number && conversion.letter == 'c') {
        return print(conversion.flags, letter, static_cast<int>(*number));
    }
    if (number && conversion.letter == 'p') {
        return padded(print("#", "llx", static_cast<long long>(*number)), conversion.flags);
    }
    if ((number || real) &&
        std::string_view("fFgGeE").find(conversion.letter) != std::string_view::npos) {
        return print(conversion.flags, letter, real ? *real : static_cast<double>(*number));
    }
    return padded(describe(argument), conversion.flags);
}

} // namespace

std::string formatString(const std::string& format,
                         std::initializer_list<FormatArgument> arguments) {
    std::string result;
    std::size_t expected = format.size();
    for (const auto& argument : arguments) {
        const auto* text = std::get_if<std::string_view>(&argument.value);
        expected += text ? text->size() : 8;
    }
    result.reserve(expected);
    const auto* next = arguments.begin();
    std::size_t position = 0;
    while (position < format.size()) {
        const auto percent = std::min(format.find('%', position), format.size());
        result.append(format, position, percent - position);
        position = percent;
        if (position == format.size()) {
            break;
        }
        const auto conversion = parseConversion(format, position);
        if (conversion.letter == '%') {
            result += '%';
        } else if (std::string_view("@sdiuxXocpfFgGeE").find(conversion.letter) !=
                       std::string_view::npos &&
                   conversion.letter != '\0') {
            const FormatArgument argument = next != arguments.end() ? *next++ : nullptr;
            const auto* text = std::get_if<std::string_view>(&argument.value);
            const bool plain = text && conversion.flags.empty();
            plain ? result.append(*text) : result.append(convert(conversion, argument));
        } else {
            result.append(format, position, conversion.end - position); // no conversion of ours
        }
        position = conversion.end;
    }
    return result;
}

std::int64_t integerValue(const std::string& text) {
    std::size_t position = 0;
    while (position < text.size()) {
        const auto length = utf8SequenceLength(text, position);
        if (length == 0 || !isWhitespaceOrNewline(utf8Character(text, position, length))) {
            break;
        }
        position += length;
    }
    bool negative = false;
    if (position < text.size() && (text[position] == '+' || text[position] == '-')) {
        negative = text[position++] == '-';
    }
    constexpr auto most = std::numeric_limits<std::int64_t>::max();
    constexpr auto least = std::numeric_limits<std::int64_t>::min();
    std::int64_t value = 0; // counted downwards, since the range reaches further that way
    for (; position < text.size() && text[position] >= '0' && text[position] <= '9'; ++position) {
        const int digit = text[position] - '0';
        if (value < (least + digit) / 10) {
            return negative ? least : most;
        }
        value = value * 10 - digit;
    }
    if (negative) {
        return value;
    }
    return value == least ? most : -value;
}

std::string stringByTrimmingWhitespaceAndNewlines(std::string text) {
    const auto isBlankAt = [&](std::size_t position, std::size_t length) {
        return length > 0 && isWhitespaceOrNewline(utf8Character(text, position, length));
    };
    std::size_t start = 0;
    for (std::size_t length = 0; start < text.size(); start += length) {
        length = utf8SequenceLength(text, start);
        if (!isBlankAt(start, length)) {
            break;
        }
    }
    std::size_t end = text.size();
    while (end > start) {
        // Back to where the last character starts; a byte that fits nowhere is one by itself.
        auto last = end - 1;
        while (last > start && end - last < 4 &&
               (static_cast<unsigned char>(text[last]) & 0xC0U) == 0x80U) {
            --last;
        }
        if (last + utf8SequenceLength(text, last) != end || !isBlankAt(last, end - last)) {
            break;
        }
        end = last;
    }
    text.resize(end);
    text.erase(0, start);
    return text;
}

std::size_t lengthInCharacters(const std::string& text) {
    // Most texts are plain ASCII all through or for the most part.
    std::size_t count = asciiPrefix(text);
    for (std::size_t position = count; position < text.size();) {
        const auto length = std::max<std::size_t>(utf8SequenceLength(text, position), 1);
        count += length == 4 ? 2 : 1;
        position += length;
    }
    return count;
}
