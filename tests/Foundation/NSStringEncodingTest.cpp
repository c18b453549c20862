#include "Foundation/NSStringEncoding.h"

#include <gtest/gtest.h>

namespace {

TEST(NSStringEncoding, decodesByThePlatformsNumbers) {
    const struct {
        unsigned encoding;
        std::string bytes;
        std::optional<std::string> text;
    } cases[] = {
        {1, "plain", "plain"},
        {1, "\x80", std::nullopt},
        {4, "\xE2\x82\xAC", "\xE2\x82\xAC"},
        {4, "\xE2\x82", std::nullopt},
        {4, "12345678\xFF", std::nullopt},
        {5, "\xE9", "\xC3\xA9"},
        {10, {"\x20\xAC", 2}, "\xE2\x82\xAC"},
        {10, {"\xFF\xFE\xAC\x20", 4}, "\xE2\x82\xAC"},
        {10, {"\xFE\xFF\x20\xAC", 4}, "\xE2\x82\xAC"},
        {10, {"\xD8\x00", 2}, std::nullopt},
        {10, "a", std::nullopt},
        {12, "\x80", "\xE2\x82\xAC"},
        {30, "\xDB", "\xE2\x82\xAC"},
        {0x94000100, {"\xAC\x20", 2}, "\xE2\x82\xAC"},
        {0x8c000100, {"\x00\x00\x20\xAC", 4}, "\xE2\x82\xAC"},
        {10, "", ""},
        {77, "a", std::nullopt},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(stringWithData(NSData(each.bytes.begin(), each.bytes.end()),
                                 static_cast<NSStringEncoding>(each.encoding)),
                  each.text)
            << each.encoding;
    }
}

} // namespace
