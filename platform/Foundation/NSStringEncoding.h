// Text from bytes, in one of the encodings that tools and files have.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <optional>
#include <string>

/// The platform's numbers.
enum NSStringEncoding : unsigned {
    NSASCIIStringEncoding = 1,
    NSUTF8StringEncoding = 4,
    NSISOLatin1StringEncoding = 5,
    NSUTF16StringEncoding = 10,
};

/// The text that the bytes stand for, as UTF-8. None when they are not valid in the encoding, or
/// the encoding is none of these. UTF-16 without a byte-order mark is big-endian.
std::optional<std::string> stringWithData(const NSData& bytes, NSStringEncoding encoding);
