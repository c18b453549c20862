#include "Foundation/NSString.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSStringEncoding.h"
#include "System/UTF8.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();

TEST(NSStringTest, FormatsFillEachConversionOnceAndNeverExpandAFinishedText) {
    const std::optional<std::string> none;
    EXPECT_EQ(stringWithFormat("Status: %@", "a %@ b %d"), "Status: a %@ b %d");
    EXPECT_EQ(stringWithFormat("%@ - %s - %@.", none, "text", std::string("x")),
              "(null) - text - x.");
    EXPECT_EQ(stringWithFormat("OS X %@, %i CPU(s), %0.2f GB", "D", 2, 3221225472 / 1e9),
              "OS X D, 2 CPU(s), 3.22 GB");
    EXPECT_EQ(stringWithFormat("100%% %u %x %c|%5d|%-3d|", 7, 255, 'z', 42, 1),
              "100% 7 ff z|   42|1  |");
    EXPECT_EQ(stringWithFormat("%@ %d %q %", 12), "12 (null) %q %");
    EXPECT_EQ(stringWithFormat("%ld%lu", smallest, 1), "-92233720368547758081");
    EXPECT_EQ(stringWithFormat("%X %o %p %.1e|%6s|%-4@|%.2s|%5.1s|%@", 255, 8, 16, 0.5, "ab", "c",
                               "def", "gh", "last"),
              "FF 10 0x10 5.0e-01|    ab|c   |de|    g|last");
}

TEST(NSStringTest, LeadingIntegersStopAtTheFirstOtherCharacterAndSaturate) {
    using Case = std::pair<const char*, std::int64_t>;
    for (const auto& [text, value] :
         {Case{"", 0}, Case{"port", 0}, Case{"- 5", 0}, Case{"+", 0}, Case{"  8080abc", 8080},
          Case{"\t\n\xC2\xA0+7", 7}, Case{"-12 3", -12}, Case{"9223372036854775806", largest - 1},
          Case{"9223372036854775808", largest}, Case{"99999999999999999999", largest},
          Case{"-9223372036854775809", smallest}, Case{"-99999999999999999999", smallest}}) {
        EXPECT_EQ(integerValue(text), value) << text;
    }
}

TEST(NSStringTest, LengthsCountUTF16UnitsAndTrimmingKnowsUnicode) {
    EXPECT_EQ(lengthInCharacters("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), 5U);
    EXPECT_EQ(lengthInCharacters("\xFF\xC3"), 2U);
    EXPECT_EQ(utf8Characters("a\xFF\xE2\x82\xAC\xC3"), U"a\uFFFD\u20AC\uFFFD");
    EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines("\n \xE3\x80\x80 a b\xC2\x85\t"), "a b");
    EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines(" \r\n"), "");
    for (const char* bad : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
        EXPECT_FALSE(isValidUTF8(bad));
    }
}

TEST(NSStringTest, PathsSplitAsThePlatformDoes) {
    using Case = std::pair<const char*, const char*>;
    for (const auto& [path, parts] :
         {Case{"/a/b.plist", "b.plist /a plist /a/b /a/b.plist"}, Case{"/a/", "a /  /a /a"},
          Case{"/", "/ /  / /"}, Case{"name", "name   name name"},
          Case{"/x/.hidden", ".hidden /x  /x/.hidden /x/.hidden"},
          Case{"/x/a.tar.gz", "a.tar.gz /x gz /x/a.tar /x/a.tar.gz"},
          Case{"/x/dot.", "dot. /x  /x/dot. /x/dot."}}) {
        const auto name = lastPathComponent(path), folder = stringByDeletingLastPathComponent(path);
        EXPECT_EQ(stringWithFormat("%@ %@ %@ %@ %@", name, folder, pathExtension(path),
                                   stringByDeletingPathExtension(path),
                                   stringByAppendingPathComponent(folder, name)),
                  parts);
    }
}

TEST(NSStringTest, BytesAreDecodedByThePlatformsNumbers) {
    using Case = std::tuple<unsigned, std::string, std::optional<std::string>>;
    for (const auto& [encoding, bytes, text] :
         {Case{1, "plain", "plain"}, Case{1, "\x80", {}}, Case{4, "€", "€"},
          Case{4, "12345678\xFF", {}}, Case{5, "\xE9", "é"},
          Case{10, std::string("\x20\xAC", 2), "€"}, Case{10, {"\xFF\xFE\xAC\x20", 4}, "€"},
          Case{10, {"\xFE\xFF\x20\xAC", 4}, "€"}, Case{10, {"\xD8\x00", 2}, {}}, Case{10, "a", {}},
          Case{10, "", ""}, Case{77, "a", {}}}) {
        EXPECT_EQ(stringWithData(NSData(bytes.begin(), bytes.end()), NSStringEncoding(encoding)),
                  text)
            << encoding;
    }
}

} // namespace
