#include "System/TextConversion.h"

#include "System/UTF8.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <iconv.h>
#include <strings.h>

namespace {

bool isASCII(std::string_view bytes) {
    bytes.remove_prefix(asciiPrefix(bytes));
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

} // namespace

std::optional<std::string> utf8FromEncoding(const std::string& encoding, std::string_view bytes) {
    // What is UTF-8 already is only looked at.
    const bool isUTF8 = strcasecmp(encoding.c_str(), "UTF-8") == 0;
    if (isUTF8 || encoding == "ASCII") {
        const bool isValid = isUTF8 ? isValidUTF8(bytes) : isASCII(bytes);
        return isValid ? std::optional(std::string(bytes)) : std::nullopt;
    }
    char* input = const_cast<char*>(bytes.data()); // which iconv leaves as it is
    std::size_t left = bytes.size();
    // A name with a slash would ask for guesses.
    const iconv_t converter = iconv_open("UTF-8", encoding.substr(0, encoding.find('/')).c_str());
    if (reinterpret_cast<std::intptr_t>(converter) == -1) {
        return std::nullopt;
    }
    std::string text;
    std::array<char, 4096> buffer{};
    bool flushed = false; // of what the encoding holds back until the end
    bool valid = true;
    while (valid && !flushed) {
        flushed = left == 0;
        char* output = buffer.data();
        std::size_t space = buffer.size();
        const auto result = iconv(converter, flushed ? nullptr : &input, flushed ? nullptr : &left,
                                  &output, &space);
        // 0 counts the conversions that had to guess; a full buffer only means another turn.
        valid = result == 0 || (result == static_cast<std::size_t>(-1) && errno == E2BIG);
        text.append(buffer.data(), buffer.size() - space);
    }
    iconv_close(converter);
    return valid ? std::optional(std::move(text)) : std::nullopt;
}
