#include "Foundation/NSPropertyList.h"

#include "Foundation/NSException.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "support/TemporaryDirectory.h"
#include "System/FileReading.h"

#include <clocale>
#include <cmath>
#include <cstdlib>
#include <gtest/gtest.h>
#include <limits>
#include <sys/resource.h>

using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

constexpr auto largest = std::numeric_limits<std::int64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
const std::string old = "{ a = (\"\\U00e9\\\"\", <0fbd>); 'b' = { c = d; }; /* e */ }";

bool reads(const std::string& bytes) {
    try {
        propertyListFromData(bytes);
        return true;
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSParseErrorException);
        return false;
    }
}

void expectReads(bool expected, const Texts& texts) {
    for (const std::string& text : texts) {
        EXPECT_EQ(reads(text), expected) << text.substr(0, 100);
    }
}

std::string xml(const std::string& content) { return "<plist>" + content + "</plist>"; }

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

std::string byte(std::size_t value) { return {static_cast<char>(value)}; }

/// A binary list of these objects, the first of which holds the others.
std::string binary(const Texts& objects) {
    std::string bytes = "bplist00", table;
    for (const auto& object : objects) {
        table += byte(bytes.size());
        bytes += object;
    }
    return bytes + table + std::string(6, '\0') + "\1\1" + std::string(7, '\0') +
           byte(objects.size()) + std::string(15, '\0') + byte(bytes.size());
}

/// Arrays, so many and each with two references to the next one.
std::string doubling(std::size_t levels) {
    Texts objects(levels + 1, "\x09");
    for (std::size_t level = 0; level < levels; ++level) {
        objects[level] = "\xA2" + byte(level + 1) + byte(level + 1);
    }
    return binary(objects);
}

std::string binaryDictionary(const std::string& key, const std::string& value) {
    return binary({"\xD1\x01\x02", key, value});
}

TEST(NSPropertyListTest, EveryValueSurvivesInOrderAndWhatIsCutShortIsNone) {
    std::string text = xmlDataFromPropertyList(everything());
    EXPECT_EQ(xmlDataFromPropertyList(propertyListFromData(text)), text) << "the order too";
    text.pop_back(); // the line feed at the end is no part of the list
    const std::string small = dataFromPropertyList(everything()); // for the character 1
    EXPECT_TRUE(small.starts_with("bplist"));
    for (const std::string& bytes : {text, small, old}) {
        EXPECT_TRUE(bytes == old || propertyListFromData(bytes) == PropertyList(everything()));
        for (std::size_t length = 0; length < bytes.size(); ++length) {
            const std::string part = bytes.substr(0, length);
            // The first letters of "bplist00" are a word of the old form.
            const bool word = !part.empty() && std::string_view("bplis").starts_with(part);
            EXPECT_EQ(reads(part), word) << part;
        }
    }
}

TEST(NSPropertyListTest, RealsDoNotDependOnTheLocale) {
    const TemporaryDirectory folder;
    const std::string make = R"(printf 'LC_NUMERIC\ndecimal_point ","\nthousands_sep ""\n)"
                             R"(grouping -1\nEND LC_NUMERIC\n' | localedef -c -i /dev/stdin )" +
                             folder.path() + "/comma >/dev/null 2>&1";
    [[maybe_unused]] const int warnings = std::system(make.c_str());
    setenv("LOCPATH", folder.path().c_str(), 1);
    EXPECT_TRUE(std::setlocale(LC_NUMERIC, "comma") && *localeconv()->decimal_point == ',');
    EXPECT_EQ(propertyListFromData(xml("<real>0.5</real>")), PropertyList(0.5));
    EXPECT_NE(xmlDataFromPropertyList(0.25).find("<real>0.25</real>"), std::string::npos);
    EXPECT_EQ(stringWithFormat("%0.2f", 0.25), "0.25");
    std::setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
}

TEST(NSPropertyListTest, AcceptsOnlyOneWholeList) {
    expectReads(true, {"\xEF\xBB\xBF \n<!-- a > --><plist version='1.0'><!-- <b --><array/></plist>"
                       "\n<!-- c -->\n",
                       "<plist><string><![CDATA[<a>]]></string></plist>", "\xEF\xBB\xBF{a=b;}"});
    for (const std::string content :
         {"", "<true/><false/>", "<array><true/></dict>", "<what/>", "x<true/>",
          "<string>&what;</string>", "<dict><true/></dict>", "<array a='>'></array>",
          "<array a='<array>'></array>", "</plist><plist><true/>", "<integer/>",
          "<integer>5x</integer>", "<integer>18446744073709551616</integer>",
          "<integer a='b'>-9223372036854775809</integer>", "<real>1,5</real>", "<real>+-1</real>",
          "<real></real>", "<date>2001-02-30T00:00:00Z</date>",
          "<date>2_01-01-01T00:00:00Z</date>"}) {
        EXPECT_FALSE(reads(xml(content))) << content;
    }
    expectReads(false, {"", " \n", "<plist/>", "<array/>", "<!-- --><dict></dict>",
                        "<plist><true/></plist>x", "<plist><true/></plist><plist><true/></plist>",
                        "bplist00", "two words", "\1\2",
                        "<!DOCTYPE plist [<!ENTITY a 'b'>]><plist><string>&a;</string></plist>"});
}

TEST(NSPropertyListTest, TextIsReadInItsEncodingAndNoValueIsLostInWriting) {
    const auto text = [](const std::string& encoding, const std::string& content) {
        return "<?xml version='1.0' encoding='" + encoding + "'?>" +
               xml("<string>" + content + "</string>");
    };
    const auto wide = [](const std::string& ascii, bool little) {
        std::string bytes(little ? "\xFF\xFE" : "\xFE\xFF");
        for (const char letter : ascii) {
            bytes += little ? std::string{letter, '\0'} : std::string{'\0', letter};
        }
        return bytes;
    };
    for (const auto& bytes :
         {text("ISO-8859-1", "\xE9"), text("utf-8", "é"), std::string("\"\xE9\""),
          wide(text("UTF-16", "\xE9"), true), wide(text("UTF-16", "\xE9"), false),
          wide(text("UTF-16", "\xE9"), true).substr(2)}) {
        EXPECT_EQ(propertyListFromData(bytes), PropertyList("é")) << bytes;
    }
    expectReads(false,
                {text("UTF-8", "\xE9"), text("EBCDIC-XX", "e"), xml("<string>\xE9</string>")});

    const TemporaryDirectory folder;
    const std::string file = folder.path() + "/a.plist";
    const NSDate early = std::chrono::sys_days(std::chrono::year(999) / 12 / 31);
    for (const char* hard : {"\x01", "a\rb", "\uFFFE", "\x1B[0m", "early"}) {
        const NSDictionary dictionary{{hard, *hard == 'e' ? PropertyList(early) : hard},
                                      {"minus", -5}};
        EXPECT_TRUE(writeDictionaryToFile(dictionary, file));
        EXPECT_TRUE(contentsOfFile(file)->starts_with("bplist")) << "XML would lose something";
        EXPECT_EQ(dictionaryWithContentsOfFile(file), dictionary);
    }
    const auto before = contentsOfFile(file);
    EXPECT_FALSE(writeDictionaryToFile({{"cut", std::string("a\0b", 3)}}, file));
    EXPECT_FALSE(writeDictionaryToFile({{"late", early + std::chrono::years(9001)}}, file));
    EXPECT_EQ(contentsOfFile(file), before);

    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{0, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_THROW(dictionaryToChangeAtPath(file), NSException) << "there, but not to be read now";
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(dictionaryToChangeAtPath(file + "x").count(), 0U);
}

TEST(NSPropertyListTest, ReadsTheOldTextForm) {
    using Case = std::pair<const char*, PropertyList>;
    for (const auto& [text, list] :
         {Case{"// one\n\"two\" /* three */", "two"},
          Case{R"("a\n\t\\\"\'\101\e9\U00e9\uD83D\q")", "a\n\t\\\"'Ae9\u00e9uD83Dq"},
          Case{R"('\UD83D\UDE00\351')", "😀é"}, Case{"<0fBd 77>", NSData{0x0f, 0xbd, 0x77}},
          Case{"<>", NSData{}},
          Case{"a = (b, \"c\", ( ), );\n/* x */ \"k 1\" = { d = /usr/bin-1.0; }; e;// y",
               NSDictionary{{"a", NSArray{"b", "c", NSArray{}}},
                            {"k 1", NSDictionary{{"d", "/usr/bin-1.0"}}},
                            {"e", "e"}}},
          Case{"{ a = 1; b = 2; a = 3; }", NSDictionary{{"a", "3"}, {"b", "2"}}}}) {
        EXPECT_EQ(xmlDataFromPropertyList(propertyListFromData(text)),
                  xmlDataFromPropertyList(list))
            << text;
    }
    expectReads(false, {"a b", "{ a = b }", "{ = b; }", "( a b )", "( , )", "<0>", "<0g>", "<fbd",
                        "\"a", "'a\"", R"("\UDE00")", R"("\UD83D\U0041")", R"("\Ux")", "a = b",
                        "a = b; c", "{} {}", "/* a", "é", "(a));"});
}

TEST(NSPropertyListTest, HostileNestingAndSharingAreRefused) {
    constexpr std::size_t tooDeep = 300000;
    for (const std::size_t depth : {500UL, tooDeep}) {
        const auto lists = {xml(nested(depth, "<array>", "</array>")), nested(depth, "(", ")")};
        expectReads(depth < tooDeep, lists);
    }
    std::string cycle = doubling(1);
    EXPECT_TRUE(reads(cycle) && reads(doubling(10)));
    cycle[9] = cycle[10] = 0; // now an array within itself
    expectReads(false, {xml(nested(tooDeep, "<array>", "")), cycle, doubling(16), doubling(60)});
    const std::string key = "Qk", date(8, '\x7E');
    EXPECT_TRUE(reads(binaryDictionary(key, "Qv")));
    expectReads(false, {binaryDictionary({"a\0\0", 3}, "Qv"), binaryDictionary({"Q\0", 2}, "Qv"),
                        binaryDictionary("\x10\x01", "Qv"), binaryDictionary(key, "3" + date),
                        binaryDictionary(key, "\x14" + std::string(16, '\1'))});
}

TEST(NSPropertyListTest, ValuesReadAsNumbersAndDictionariesAreEqualInAnyOrder) {
    using Case = std::pair<PropertyList, std::int64_t>;
    for (const auto& [value, integer] :
         {Case{true, 1}, Case{-2.9, -2}, Case{1e30, largest}, Case{-1e30, smallest},
          Case{std::nan(""), 0}, Case{NSInteger64{-1, true}, largest}, Case{"8080", 8080},
          Case{" +1 ", 1}, Case{"-0", 0}}) {
        EXPECT_EQ(value.integer(), integer) << xmlDataFromPropertyList(value);
    }
    EXPECT_EQ(PropertyList(NSInteger64{-1, true}).number(), 18446744073709551615.0);
    for (const PropertyList& none :
         NSArray{"", "1.5", "1x", "+-1", "99999999999999999999", NSData{1}, NSArray{1}, NSDate{}}) {
        EXPECT_FALSE(none.integer() || none.number()) << xmlDataFromPropertyList(none);
    }
    EXPECT_EQ(propertyListFromData(xml("<array><integer> +010 </integer><integer>-0x01F</integer>"
                                       "<integer>00</integer></array>")),
              PropertyList(NSArray{10, -31, 0}));
    EXPECT_THROW(xmlDataFromPropertyList(std::string("b\0c", 3)), NSException);
    const NSDictionary two{{"a", 1}, {"b", 2}};
    EXPECT_EQ(two, (NSDictionary{{"b", 2}, {"a", 1}}));
    for (const NSDictionary& other :
         {NSDictionary{{"a", 1}, {"c", 2}}, {{"a", 1}, {"b", 3}}, {{"a", 1}, {"b", 2}, {"c", 3}}}) {
        EXPECT_FALSE(two == other) << xmlDataFromPropertyList(other);
    }
}

} // namespace
