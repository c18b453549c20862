#include "Foundation/NSPropertyList.h"

#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "support/TemporaryDirectory.h"

#include <array>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <plist/plist.h>
#include <random>

using namespace std::chrono_literals;

namespace {

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();

bool reads(const std::string& bytes) {
    try {
        propertyListFromData(bytes);
        return true;
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSParseErrorException);
        return false;
    }
}

std::string xml(const std::string& content) { return "<plist>" + content + "</plist>"; }

std::string binary(const PropertyList& list) {
    const std::string text = xmlDataFromPropertyList(list);
    plist_t node = nullptr;
    plist_from_xml(text.data(), static_cast<std::uint32_t>(text.size()), &node);
    char* bytes = nullptr;
    std::uint32_t length = 0;
    plist_to_bin(node, &bytes, &length);
    std::string result(bytes, length);
    plist_to_bin_free(bytes);
    plist_free(node);
    return result;
}

/// A value of every kind, at the edges of what it can hold.
NSDictionary everything() {
    const auto newYear = std::chrono::sys_days(std::chrono::year(2020) / 1 / 1);
    const auto farFuture = std::chrono::sys_days(std::chrono::year(4001) / 1 / 1);
    return {{"zebra", true},
            {"apple", false},
            {"numbers",
             NSArray{0, -1, largest, smallest, NSInteger64{-1, true}, NSInteger64{smallest, true}}},
            {"reals", NSArray{0.1, 1.0 / 3, -1e300, 5e-324, 8080.0, HUGE_VAL, -HUGE_VAL}},
            {"dates", NSArray{NSDate(newYear + 3h + 4min + 5s), NSDate(newYear - 100 * 365 * 24h),
                              NSDate(farFuture)}},
            {"data", NSArray{NSData{}, NSData{0, 255, 10, 60}, NSData(1000, 7)}},
            {"tëxt <&> \"\"", "日本 😀\t\n ]]> &amp; \x01"},
            {"empty", NSDictionary{{"", ""}, {"list", NSArray{}}, {"none", NSDictionary{}}}}};
}

std::string nested(std::size_t depth, const std::string& open, const std::string& close) {
    std::string text;
    for (std::size_t level = 0; level < 2 * depth; ++level) {
        text += level < depth ? open : close;
    }
    return text;
}

/// Binary arrays of `width` references each to the next one, or all to the first.
std::string binaryChain(unsigned length, unsigned width, bool cycle = false) {
    const auto byte = [](std::size_t value) { return static_cast<char>(value); };
    std::string bytes = "bplist00", table;
    for (unsigned object = 0; object < length; ++object) {
        table += byte(bytes.size());
        bytes += byte(0xA0 | width) + std::string(width, byte(cycle ? 0 : object + 1));
    }
    table += byte(bytes.size());
    bytes += '\x09';
    const std::string zeros(7, '\0');
    const std::string counts = zeros + byte(length + 1) + zeros + '\0' + zeros + byte(bytes.size());
    return bytes + table + zeros.substr(1) + "\1\1" + counts;
}

TEST(NSPropertyListTest, EveryValueSurvivesWritingAndReadingInOrder) {
    const std::string text = xmlDataFromPropertyList(everything());
    for (const std::string& bytes : {text, binary(everything())}) {
        EXPECT_EQ(propertyListFromData(bytes), PropertyList(everything()));
        EXPECT_EQ(xmlDataFromPropertyList(propertyListFromData(bytes)), text) << "the order too";
    }
}

TEST(NSPropertyListTest, RealsDoNotDependOnTheLocale) {
    const TemporaryDirectory folder;
    const std::string make = "cd " + folder.path() +
                             R"( && localedef -c -i /dev/stdin ./comma >/dev/null 2>&1 << END
LC_NUMERIC
decimal_point ","
thousands_sep ""
grouping -1
END LC_NUMERIC
END)";
    [[maybe_unused]] const int warnings = std::system(make.c_str());
    setenv("LOCPATH", folder.path().c_str(), 1);
    const bool comma = std::setlocale(LC_NUMERIC, "comma") && *localeconv()->decimal_point == ',';
    const PropertyList read = propertyListFromData(xml("<real>0.5</real>"));
    const std::string written = xmlDataFromPropertyList(0.25);
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    EXPECT_TRUE(comma);
    EXPECT_EQ(read, PropertyList(0.5));
    EXPECT_NE(written.find("<real>0.25</real>"), std::string::npos) << written;
}

TEST(NSPropertyListTest, ListsCutShortAnywhereAreNone) {
    std::string text = xmlDataFromPropertyList(everything());
    text.pop_back(); // the line feed at the end is no part of the list
    const std::string old = "{ a = \"x\\U00e9\\\"\"; b = ( 1, <0f bd>, { c = d; } ); /* e */ }";
    for (const std::string& bytes : {text, binary(everything()), old}) {
        ASSERT_TRUE(reads(bytes));
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const std::string part = bytes.substr(0, length);
            // The first letters of "bplist00" are a word of the old form.
            const bool word = !part.empty() && std::string_view("bplis").starts_with(part);
            EXPECT_EQ(reads(part), word) << part;
        }
    }
}

TEST(NSPropertyListTest, AcceptsOnlyOneWholeList) {
    for (const std::string text :
         {"\xEF\xBB\xBF \n<!-- a > --><plist version='1.0'><!-- <b --><array/></plist>\n<!-- c "
          "-->\n",
          "<plist><string><![CDATA[<a>]]></string></plist>", "\xEF\xBB\xBF{a=b;}"}) {
        EXPECT_TRUE(reads(text)) << text;
    }
    for (const std::string content :
         {"", "<true/><false/>", "<array><true/></dict>", "<what/>", "x<true/>",
          "<string>&what;</string>", "<dict><true/></dict>", "<array a='>'></array>",
          "<array a='<array>'></array>", "</plist><plist><true/>"}) {
        EXPECT_FALSE(reads(xml(content))) << content;
    }
    for (const std::string text :
         {"", " \n", "<plist/>", "<array/>", "<!-- --><dict></dict>", "<plist><true/></plist>x",
          "<plist><true/></plist><plist><true/></plist>", "bplist00", "two words", "\1\2",
          "<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><string>&a;</string></plist>"}) {
        EXPECT_FALSE(reads(text)) << text;
    }
}

TEST(NSPropertyListTest, ReadsTheOldTextForm) {
    const std::array cases{
        std::pair(R"(word)", PropertyList("word")),
        std::pair(R"( // one
                     "two" /* three */ )",
                  PropertyList("two")),
        std::pair(R"("a\n\t\\\"\'\101\e9\U00e9\uD83D\q")",
                  PropertyList("a\n\t\\\"'Ae9\u00e9uD83Dq")),
        std::pair(R"('\UD83D\UDE00\351')", PropertyList("😀é")),
        std::pair("<0fBd 77>", PropertyList(NSData{0x0f, 0xbd, 0x77})),
        std::pair("<>", PropertyList(NSData{})),
        std::pair("a = (b, \"c\", ( ), );\n/* x */ \"k 1\" = { d = /usr/bin-1.0; }; e;// y",
                  PropertyList(NSDictionary{{"a", NSArray{"b", "c", NSArray{}}},
                                            {"k 1", NSDictionary{{"d", "/usr/bin-1.0"}}},
                                            {"e", "e"}})),
        std::pair("{ a = 1; b = 2; a = 3; }", PropertyList(NSDictionary{{"a", "3"}, {"b", "2"}}))};
    for (const auto& [text, list] : cases) {
        EXPECT_EQ(propertyListFromData(text), list) << text;
    }
    for (const char* const text :
         {"a b", "{ a = b }", "{ = b; }", "( a b )", "( , )", "<0>", "<0g>", "<fbd", "\"a", "'a\"",
          R"("\UDE00")", R"("\UD83D\U0041")", R"("\Ux")", "a = b", "a = b; c", "{} {}", "/* a", "é",
          "(a));"}) {
        EXPECT_FALSE(reads(text)) << text;
    }
}

TEST(NSPropertyListTest, HostileNestingAndSharingAreRefused) {
    constexpr std::size_t fine = 500;
    constexpr std::size_t tooDeep = 300000;
    for (const std::size_t depth : {fine, tooDeep}) {
        for (const std::string& bytes :
             {xml(nested(depth, "<array>", "</array>")), nested(depth, "(", ")"),
              nested(depth, "{a=", ";}").replace(depth * 3, 0, "b")}) {
            EXPECT_EQ(reads(bytes), depth == fine) << bytes.substr(0, 10);
        }
    }
    EXPECT_FALSE(reads(xml(nested(tooDeep, "<array>", ""))));
    EXPECT_TRUE(reads(binaryChain(10, 2)));
    EXPECT_FALSE(reads(binaryChain(60, 2))) << "two references a level are 2^60 objects";
    EXPECT_FALSE(reads(binaryChain(1, 1, true))) << "an array within itself";
    PropertyList deep = NSArray{};
    for (std::size_t level = 0; level < 2 * fine; ++level) {
        deep = NSArray{std::move(deep)};
    }
    EXPECT_THROW(xmlDataFromPropertyList(deep), NSException);
}

TEST(NSPropertyListTest, DamagedBytesNeverCrash) {
    const std::array seeds{xmlDataFromPropertyList(everything()), binary(everything()),
                           std::string("{ a = (\"\\U00e9\", <0fbd>); 'b' = { c = d; }; } // e")};
    std::mt19937 random(20240601); // NOLINT: the same damage in every run
    int whole = 0;
    for (int round = 0; round < 6000; ++round) {
        std::string bytes = seeds[static_cast<std::size_t>(round) % seeds.size()];
        for (auto edits = 1 + random() % 4; edits > 0; --edits) {
            const std::size_t place = random() % bytes.size();
            const auto bit = static_cast<char>(1U << random() % 8);
            const std::string piece = bytes.substr(random() % bytes.size(), random() % 20);
            bytes[place] = static_cast<char>(bytes[place] ^ (random() % 2 == 0 ? bit : 0));
            bytes.replace(place, random() % 3 * 5, piece + bit);
        }
        whole += reads(bytes) ? 1 : 0;
    }
    EXPECT_GT(whole, 0) << "some damage lies within a text, which still reads";
}

TEST(NSPropertyListTest, ValuesReadAsNumbersAndDictionariesAreEqualInAnyOrder) {
    struct Case {
        PropertyList value;
        std::int64_t integer;
        double number;
    };
    for (const Case& item : {Case{true, 1, 1}, Case{-2.9, -2, -2.9}, Case{1e30, largest, 1e30},
                             Case{-1e30, smallest, -1e30},
                             Case{NSInteger64{-1, true}, largest, 18446744073709551615.0},
                             Case{"8080", 8080, 8080}, Case{" +1 ", 1, 1}, Case{"-0", 0, 0}}) {
        EXPECT_EQ(item.value.integer(), item.integer) << xmlDataFromPropertyList(item.value);
        EXPECT_EQ(item.value.number(), item.number) << xmlDataFromPropertyList(item.value);
    }
    for (const PropertyList& none :
         NSArray{"", "1.5", "1x", "+-1", "99999999999999999999", NSData{1}, NSArray{1}, NSDate{}}) {
        EXPECT_FALSE(none.integer() || none.number()) << xmlDataFromPropertyList(none);
    }
    EXPECT_EQ(PropertyList(std::nan("")).integer(), 0);
    EXPECT_EQ((NSDictionary{{"a", 1}, {"b", 2}}), (NSDictionary{{"b", 2}, {"a", 1}}));
    EXPECT_NE((NSDictionary{{"a", 1}, {"b", 2}}), (NSDictionary{{"a", 1}, {"c", 2}}));
}

TEST(NSPropertyListTest, FilesHoldDictionariesOrNothing) {
    const TemporaryDirectory folder;
    const std::string path = folder.path() + "/a.plist";
    EXPECT_FALSE(dictionaryWithContentsOfFile(path));
    EXPECT_TRUE(writeDictionaryToFile(everything(), path));
    EXPECT_EQ(dictionaryWithContentsOfFile(path), everything());
    EXPECT_FALSE(writeDictionaryToFile({{"a", std::string("b\0c", 3)}}, path));
    EXPECT_EQ(dictionaryWithContentsOfFile(path), everything()) << "a list that XML cannot hold";
    for (const std::string content : {"(a)", "word", ""}) {
        writeFileAtomically(content, path);
        EXPECT_FALSE(dictionaryWithContentsOfFile(path)) << content;
    }
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path()));
    EXPECT_FALSE(writeDictionaryToFile({}, folder.path() + "/missing/a.plist"));
}

} // namespace
