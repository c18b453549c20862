#include "Foundation/NSStringEncoding.h"

#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>

namespace {

/// The system's name for an encoding; none when it is not of the table.
const char* nameOf(NSStringEncoding encoding) {
    switch (encoding) {
    case NSASCIIStringEncoding:
        return "ASCII";
    case NSJapaneseEUCStringEncoding:
        return "EUC-JP";
    case NSUTF8StringEncoding:
        return "UTF-8";
    case NSISOLatin1StringEncoding:
        return "ISO-8859-1";
    case NSShiftJISStringEncoding:
        return "SHIFT-JIS";
    case NSISOLatin2StringEncoding:
        return "ISO-8859-2";
    case NSWindowsCP1251StringEncoding:
        return "CP1251";
    case NSWindowsCP1252StringEncoding:
        return "CP1252";
    case NSWindowsCP1253StringEncoding:
        return "CP1253";
    case NSWindowsCP1254StringEncoding:
        return "CP1254";
    case NSWindowsCP1250StringEncoding:
        return "CP1250";
    case NSISO2022JPStringEncoding:
        return "ISO-2022-JP";
    case NSMacOSRomanStringEncoding:
        return "MACINTOSH";
    case NSUTF16StringEncoding:
    case NSUTF16BigEndianStringEncoding:
        return "UTF-16BE";
    case NSUTF16LittleEndianStringEncoding:
        return "UTF-16LE";
    case NSUTF32StringEncoding:
    case NSUTF32BigEndianStringEncoding:
        return "UTF-32BE";
    case NSUTF32LittleEndianStringEncoding:
        return "UTF-32LE";
    }
    return nullptr;
}

bool startsWith(const NSData& bytes, const std::vector<std::uint8_t>& mark) {
    return bytes.size() >= mark.size() && std::equal(mark.begin(), mark.end(), bytes.begin());
}

struct Marked {
    NSStringEncoding encoding;
    std::size_t length; // of the mark
};

/// The byte order that a mark at the start of the bytes gives.
Marked byMark(const NSData& bytes, NSStringEncoding encoding) {
    if (encoding == NSUTF16StringEncoding) {
        const bool little = startsWith(bytes, {0xFF, 0xFE});
        const bool big = startsWith(bytes, {0xFE, 0xFF});
        return {little ? NSUTF16LittleEndianStringEncoding : NSUTF16BigEndianStringEncoding,
                little || big ? 2U : 0U};
    }
    if (encoding == NSUTF32StringEncoding) {
        const bool little = startsWith(bytes, {0xFF, 0xFE, 0, 0});
        const bool big = startsWith(bytes, {0, 0, 0xFE, 0xFF});
        return {little ? NSUTF32LittleEndianStringEncoding : NSUTF32BigEndianStringEncoding,
                little || big ? 4U : 0U};
    }
    return {encoding, 0};
}

std::optional<std::string> convert(const char* name, char* input, std::size_t left) {
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
    const auto marked = byMark(bytes, encoding);
    const char* name = nameOf(marked.encoding);
    if (name == nullptr) {
        return std::nullopt;
    }
    NSData input(bytes.begin() + static_cast<std::ptrdiff_t>(marked.length), bytes.end());
    return convert(name, reinterpret_cast<char*>(input.data()), input.size());
}
