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

std::vector<std::string> keys(const NSDictionary& dictionary) {
    std::vector<std::string> names;
    for (const auto& [key, value] : dictionary) {
        names.push_back(key);
    }
    return names;
}

std::string nested(int depth, const std::string& open, const std::string& close) {
    std::string text;
    for (int level = 0; level < depth; ++level) {
        text += open;
    }
    for (int level = 0; level < depth; ++level) {
        text += close;
    }
    return text;
}

/// Binary arrays of `width` references each to the next one.
std::string binaryChain(unsigned length, unsigned width) {
    std::string bytes = "bplist00";
    std::string table;
    const auto append = [](std::string& text, std::uint64_t number, int size) {
        while (size-- > 0) {
            text.push_back(static_cast<char>(number >> (8 * size)));
        }
    };
    for (unsigned object = 0; object < length; ++object) {
        append(table, bytes.size(), 4);
        append(bytes, 0xA0 | width, 1);
        for (unsigned reference = 0; reference < width; ++reference) {
            append(bytes, object + 1, 4);
        }
    }
    append(table, bytes.size(), 4);
    const auto tableStart = (append(bytes, 0x09, 1), bytes.size());
    bytes += table;
    append(bytes, 0x0404, 8);
    append(bytes, length + 1, 8);
    append(bytes, 0, 8);
    append(bytes, tableStart, 8);
    return bytes;
}

TEST(NSPropertyListTest, EveryValueSurvivesWritingAndReadingInOrder) {
    const NSDictionary list = everything();
    for (const std::string& bytes : {xmlDataFromPropertyList(list), binary(list)}) {
        const PropertyList copy = propertyListFromData(bytes);
        ASSERT_TRUE(copy.dictionary());
        EXPECT_EQ(*copy.dictionary(), list);
        EXPECT_EQ(keys(*copy.dictionary()), keys(list));
    }
}

TEST(NSPropertyListTest, RealsDoNotDependOnTheLocale) {
    const TemporaryDirectory folder;
    writeFileAtomically("LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \"\"\ngrouping -1\n"
                        "END LC_NUMERIC\n",
                        folder.path() + "/source");
    const std::string compile = "cd " + folder.path() + " && localedef -c -i source ./comma";
    [[maybe_unused]] const int warnings = std::system((compile + " 2>/dev/null").c_str());
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
    const std::string text = xmlDataFromPropertyList(everything());
    const std::string old = "{ a = \"x\\U00e9\\\"\"; b = ( 1, <0f bd>, { c = d; } ); /* e */ }";
    struct Case {
        std::string bytes;
        std::size_t first; // the first letters of "bplist" alone are a word of the old form
        std::size_t tail;  // the line feed at the end is no part of the list
    };
    for (const Case& item : {Case{text, 0, 1}, Case{binary(everything()), 6, 0}, Case{old, 0, 0}}) {
        ASSERT_TRUE(reads(item.bytes));
        for (std::size_t length = 0; length < item.bytes.size() - item.tail; ++length) {
            EXPECT_EQ(reads(item.bytes.substr(0, length)), length > 0 && length < item.first)
                << item.bytes.substr(0, length);
        }
    }
}

TEST(NSPropertyListTest, AcceptsOnlyOneWholeList) {
    const std::vector<std::string> good{
        xml("<true/>"),
        "\xEF\xBB\xBF \n<!-- a > --><plist version='1.0'><!-- <b --><array/></plist>\n<!-- c -->\n",
        xml("<string><![CDATA[<a>]]></string>"), std::string("\xEF\xBB\xBF{a=b;}")};
    for (const std::string& text : good) {
        EXPECT_TRUE(reads(text)) << text;
    }
    const std::vector<std::string> bad{std::string(),
                                       std::string(" \n"),
                                       xml(""),
                                       std::string("<plist/>"),
                                       std::string("<array/>"),
                                       std::string("<!-- --><dict></dict>"),
                                       xml("<true/>") + "x",
                                       xml("<true/>") + xml("<true/>"),
                                       xml("<true/><false/>"),
                                       xml("<array><true/></dict>"),
                                       xml("<what/>"),
                                       xml("x<true/>"),
                                       xml("<string>&what;</string>"),
                                       xml("<dict><true/></dict>"),
                                       xml("<array a='>'></array>"),
                                       xml("<array a='<array>'></array>"),
                                       xml("</plist><plist><true/>"),
                                       "<!DOCTYPE plist [<!ENTITY a 'b'>]>" +
                                           xml("<string>&a;</string>"),
                                       std::string("bplist00"),
                                       std::string("two words"),
                                       std::string("\0\1\2", 3)};
    for (const std::string& text : bad) {
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
        std::pair("( a, \"b\", ( ), )", PropertyList(NSArray{"a", "b", NSArray{}})),
        std::pair("{ b = /usr/bin-1.0; \"a b\" = { c = (1); }; d; }",
                  PropertyList(NSDictionary{{"b", "/usr/bin-1.0"},
                                            {"a b", NSDictionary{{"c", NSArray{"1"}}}},
                                            {"d", "d"}})),
        std::pair("\"k 1\" = v;\n/* x */ k2 = 'w';// y",
                  PropertyList(NSDictionary{{"k 1", "v"}, {"k2", "w"}})),
        std::pair("a = 1; b = 2; a = 3;", PropertyList(NSDictionary{{"a", "3"}, {"b", "2"}}))};
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
    constexpr int fine = 500;
    constexpr int tooDeep = 300000;
    for (const int depth : {fine, tooDeep}) {
        const bool expected = depth == fine;
        EXPECT_EQ(reads(xml(nested(depth, "<array>", "</array>"))), expected);
        EXPECT_EQ(reads(nested(depth, "(", ")")), expected);
        EXPECT_EQ(reads(nested(depth, "{a=", ";}").replace(depth * 3UL, 0, "b")), expected);
        EXPECT_EQ(reads(binaryChain(static_cast<unsigned>(depth), 1)), expected);
    }
    EXPECT_FALSE(reads(xml(nested(tooDeep, "<array>", ""))));
    EXPECT_FALSE(reads(binaryChain(60, 2))) << "two references a level are 2^60 objects";
    std::string cycle = binaryChain(1, 1);
    cycle[12] = 0;
    EXPECT_FALSE(reads(cycle)) << "an array within itself";
    PropertyList deep = NSArray{};
    for (int level = 0; level < 1000; ++level) {
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
            switch (random() % 4) {
            case 0:
                bytes[place] = static_cast<char>(random());
                break;
            case 1:
                bytes[place] = static_cast<char>(bytes[place] ^ (1U << random() % 7));
                break;
            case 2:
                bytes.erase(place, 1 + random() % 9);
                bytes += bytes.empty() ? "x" : "";
                break;
            default:
                bytes.insert(place, bytes.substr(random() % bytes.size(), random() % 40));
            }
        }
        whole += reads(bytes) ? 1 : 0;
    }
    EXPECT_GT(whole, 0) << "some damage lies within a text, which still reads";
}

TEST(NSPropertyListTest, ValuesReadAsNumbers) {
    struct Case {
        PropertyList value;
        std::optional<std::int64_t> integer;
        std::optional<double> number;
    };
    const std::array cases{Case{true, 1, 1},
                           Case{false, 0, 0},
                           Case{-7, -7, -7},
                           Case{2.9, 2, 2.9},
                           Case{-2.9, -2, -2.9},
                           Case{1e30, largest, 1e30},
                           Case{-1e30, smallest, -1e30},
                           Case{NSInteger64{-1, true}, largest, 18446744073709551615.0},
                           Case{"8080", 8080, 8080},
                           Case{" +1 ", 1, 1},
                           Case{"-0", 0, 0},
                           Case{"", {}, {}},
                           Case{"1.5", {}, {}},
                           Case{"1x", {}, {}},
                           Case{"+-1", {}, {}},
                           Case{"99999999999999999999", {}, {}},
                           Case{NSData{1}, {}, {}},
                           Case{NSArray{1}, {}, {}},
                           Case{NSDate{}, {}, {}}};
    for (const Case& item : cases) {
        EXPECT_EQ(item.value.integer(), item.integer) << xmlDataFromPropertyList(item.value);
        EXPECT_EQ(item.value.number(), item.number) << xmlDataFromPropertyList(item.value);
    }
    EXPECT_EQ(PropertyList(std::nan("")).integer(), 0);
}

TEST(NSPropertyListTest, DictionariesAreEqualInAnyOrder) {
    NSDictionary one{{"a", 1}, {"b", 2}};
    one.setObject(3, "a");
    EXPECT_EQ(keys(one), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(one, (NSDictionary{{"b", 2}, {"a", 3}}));
    EXPECT_NE(one, (NSDictionary{{"b", 2}, {"c", 3}}));
    one.removeObjectForKey("a");
    one.removeObjectForKey("missing");
    EXPECT_EQ(one, (NSDictionary{{"b", 2}}));
    EXPECT_EQ(one.objectForKey("a"), nullptr);
}

TEST(NSPropertyListTest, FilesHoldDictionariesOrNothing) {
    const TemporaryDirectory folder;
    const std::string path = folder.path() + "/a.plist";
    EXPECT_FALSE(dictionaryWithContentsOfFile(path));
    EXPECT_TRUE(writeDictionaryToFile(everything(), path));
    EXPECT_EQ(dictionaryWithContentsOfFile(path), everything());
    EXPECT_FALSE(writeDictionaryToFile({{"a", std::string("b\0c", 3)}}, path));
    EXPECT_EQ(dictionaryWithContentsOfFile(path), everything()) << "a list that XML cannot hold";
    for (const std::string& content : {std::string("(a)"), std::string("word"), std::string()}) {
        writeFileAtomically(content, path);
        EXPECT_FALSE(dictionaryWithContentsOfFile(path)) << content;
    }
    EXPECT_FALSE(dictionaryWithContentsOfFile(folder.path()));
    EXPECT_FALSE(writeDictionaryToFile({}, folder.path() + "/missing/a.plist"));
}

} // namespace
