// Text from bytes, in the encodings that the platform has numbers for.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <optional>
#include <string>

/// The platform's numbers.
enum NSStringEncoding : unsigned {
    NSASCIIStringEncoding = 1,
    NSJapaneseEUCStringEncoding = 3,
    NSUTF8StringEncoding = 4,
    NSISOLatin1StringEncoding = 5,
    NSShiftJISStringEncoding = 8,
    NSISOLatin2StringEncoding = 9,
    NSUTF16StringEncoding = 10,
    NSWindowsCP1251StringEncoding = 11,
    NSWindowsCP1252StringEncoding = 12,
    NSWindowsCP1253StringEncoding = 13,
    NSWindowsCP1254StringEncoding = 14,
    NSWindowsCP1250StringEncoding = 15,
    NSISO2022JPStringEncoding = 21,
    NSMacOSRomanStringEncoding = 30,
    NSUTF32StringEncoding = 0x8c000100,
    NSUTF16BigEndianStringEncoding = 0x90000100,
    NSUTF16LittleEndianStringEncoding = 0x94000100,
    NSUTF32BigEndianStringEncoding = 0x98000100,
    NSUTF32LittleEndianStringEncoding = 0x9c000100,
};

/// The text that the bytes stand for, as UTF-8. None when they are not valid in the encoding, or
/// the encoding is none of these. UTF-16 and UTF-32 without a byte-order mark are big-endian.
std::optional<std::string> stringWithData(const NSData& bytes, NSStringEncoding encoding);
