#include "Foundation/NSString.h"
#include "Foundation/NSException.h"
#include "Foundation/NSObject.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

TEST(NSStringTest, FormatsFillEachConversionOnceAndNeverExpandAFinishedText) {
    const std::optional<std::string> none;
    const std::vector<std::pair<std::string, std::string>> cases = {
        {stringWithFormat("Status: %@", "a %@ b %d"), "Status: a %@ b %d"},
        {stringWithFormat("%@ - %s - %@.", none, "text", std::string("x")), "(null) - text - x."},
        {stringWithFormat("System: OS X %@, %i CPU(s), %0.2f GB RAM", "D", 2, 3221225472 / 1e9),
         "System: OS X D, 2 CPU(s), 3.22 GB RAM"},
        {stringWithFormat("100%% %u %x %c|%5d|%-3d|", 7, 255, 'z', 42, 1),
         "100% 7 ff z|   42|1  |"},
        {stringWithFormat("%@ %d", 12), "12 (null)"},
        {stringWithFormat("%q %", 1), "%q %"},
        {stringWithFormat("%ld%lu", std::numeric_limits<std::int64_t>::min(), 1),
         "-92233720368547758081"},
    };
    for (const auto& [result, expected] : cases) {
        EXPECT_EQ(result, expected);
    }
}

TEST(NSStringTest, LeadingIntegersStopAtTheFirstOtherCharacterAndSaturate) {
    const std::vector<std::pair<std::string, std::int64_t>> cases = {
        {"  8080abc", 8080},
        {"", 0},
        {"port", 0},
        {"+7", 7},
        {"-12 3", -12},
        {"- 5", 0},
        {"\t\n42", 42},
        {"\xC2\xA0"
         "9",
         9},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"9223372036854775808", std::numeric_limits<std::int64_t>::max()},
        {"-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"-99999999999999999999", std::numeric_limits<std::int64_t>::min()},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(integerValue(text), expected) << text;
    }
}

TEST(NSStringTest, LengthsCountUTF16UnitsAndTrimmingKnowsUnicode) {
    EXPECT_EQ(lengthInCharacters("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), 5U);
    EXPECT_EQ(lengthInCharacters("\xFF\xC3"), 2U);
    EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines("\n \xE3\x80\x80 a b\xC2\x85\t"), "a b");
    EXPECT_EQ(stringByTrimmingWhitespaceAndNewlines(" \r\n"), "");
    for (const char* bad : {"\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xE2\x82", "\x80"}) {
        EXPECT_FALSE(isValidUTF8(bad));
    }
}

TEST(NSStringTest, PathsSplitAndJoinAsThePlatformDoes) {
    struct Case {
        std::string path, last, parent, extension;
    };
    for (const Case& each : std::vector<Case>{{"/a/b.plist", "b.plist", "/a", "plist"},
                                              {"/a/", "a", "/", ""},
                                              {"/", "/", "/", ""},
                                              {"name", "name", "", ""},
                                              {"/x/.hidden", ".hidden", "/x", ""},
                                              {"/x/a.tar.gz", "a.tar.gz", "/x", "gz"},
                                              {"/x/dot.", "dot.", "/x", ""}}) {
        EXPECT_EQ(lastPathComponent(each.path), each.last);
        EXPECT_EQ(stringByDeletingLastPathComponent(each.path), each.parent);
        EXPECT_EQ(pathExtension(each.path), each.extension);
    }
    EXPECT_EQ(stringByAppendingPathComponent("/a/", "/b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/", "b"), "/b");
    EXPECT_EQ(stringByDeletingPathExtension("/x.d/Report.pdf"), "/x.d/Report");
    EXPECT_EQ(pathComponents("/Volumes//B"), (std::vector<std::string>{"/", "Volumes", "B"}));
}

/// Holds one value, and notes what it is told of another's.
class Holder : public NSObject {
public:
    PropertyList valueForKey(const std::string&) const override { return value; }
    void setValueForKey(const PropertyList& newValue, const std::string&) override {
        value = *newValue.integer();
    }
    void observeValueForKeyPath(const std::string& key, NSObject&, const NSKeyValueChange& change,
                                void* context) override {
        EXPECT_EQ(context, this);
        told.push_back(key + ":" + std::to_string(change.oldValue->integer().value_or(-1)) + ">" +
                       std::to_string(change.newValue->integer().value_or(-1)));
    }
    std::int64_t value = 0;
    std::vector<std::string> told;
};

TEST(NSObjectTest, ObserversHearOfEveryAnnouncedChangeWithOldAndNew) {
    Holder subject;
    auto observer = std::make_shared<Holder>();
    Holder bound;
    subject.addObserver(observer, "on", 3, observer.get());
    bound.bind("mirror", subject, "on");
    const auto change = [&](std::int64_t to) {
        subject.willChangeValueForKey("on");
        subject.value = to;
        subject.didChangeValueForKey("on");
    };
    change(1);
    change(1);
    EXPECT_EQ(observer->told, (std::vector<std::string>{"on:0>1", "on:1>1"}));
    EXPECT_EQ(bound.value, 1);
    subject.removeObserver(*observer, "on");
    change(0);
    EXPECT_EQ(observer->told.size(), 2U);
    EXPECT_EQ(bound.value, 0);
    subject.addObserver(observer, "on", 3, observer.get());
    observer.reset(); // forgotten, not told
    change(1);
    EXPECT_THROW(NSObject().valueForKey("on"), NSException);
}

} // namespace
