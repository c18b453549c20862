#include "Foundation/NSStringEncoding.h"

#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>

namespace {

/// Converts from an encoding of the system's name, past a mark at the start.
std::optional<std::string> convert(const char* name, NSData& bytes, std::size_t mark) {
    char* input = reinterpret_cast<char*>(bytes.data()) + mark;
    std::size_t left = bytes.size() - mark;
    const iconv_t converter = iconv_open("UTF-8", name);
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

} // namespace

std::optional<std::string> stringWithData(const NSData& bytes, NSStringEncoding encoding) {
    if (encoding == NSASCIIStringEncoding || encoding == NSUTF8StringEncoding) {
        const bool plain =
            std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
        if (!plain && encoding == NSASCIIStringEncoding) {
            return std::nullopt;
        }
        std::string text(bytes.begin(), bytes.end());
        return plain || isValidUTF8(text) ? std::optional(std::move(text)) : std::nullopt;
    }
    const bool little = bytes.size() >= 2 && bytes[0] == 0xFF && bytes[1] == 0xFE;
    const bool marked = little || (bytes.size() >= 2 && bytes[0] == 0xFE && bytes[1] == 0xFF);
    NSData input(bytes);
    switch (encoding) {
    case NSISOLatin1StringEncoding:
        return convert("ISO-8859-1", input, 0);
    case NSUTF16StringEncoding:
        return convert(little ? "UTF-16LE" : "UTF-16BE", input, marked ? 2 : 0);
    default:
        return std::nullopt;
    }
}
