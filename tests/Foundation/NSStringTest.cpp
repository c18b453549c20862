#include "Foundation/NSString.h"
#include "Foundation/NSException.h"
#include "Foundation/NSObject.h"

#include <gtest/gtest.h>
#include <limits>

namespace {

TEST(NSStringTest, FormatsFillEachConversionOnceAndNeverExpandAFinishedText) {
    const std::optional<std::string> none;
    EXPECT_EQ(stringWithFormat("Status: %@", "a %@ b %d"), "Status: a %@ b %d");
    EXPECT_EQ(
        stringWithFormat("%@ - %s - %@.", std::optional<std::string>(), "text", std::string("x")),
        "(null) - text - x.");
    EXPECT_EQ(stringWithFormat("OS X %@, %i CPU(s), %0.2f GB", "D", 2, 3221225472 / 1e9),
              "OS X D, 2 CPU(s), 3.22 GB");
    EXPECT_EQ(stringWithFormat("100%% %u %x %c|%5d|%-3d|", 7, 255, 'z', 42, 1),
              "100% 7 ff z|   42|1  |");
    EXPECT_EQ(stringWithFormat("%@ %d", 12), "12 (null)");
    EXPECT_EQ(stringWithFormat("%q %", 1), "%q %");
    EXPECT_EQ(stringWithFormat("%ld%lu", std::numeric_limits<std::int64_t>::min(), 1),
              "-92233720368547758081");
}

TEST(NSStringTest, LeadingIntegersStopAtTheFirstOtherCharacterAndSaturate) {
    for (const char* const none : {"", "port", "- 5", "+"}) {
        EXPECT_EQ(integerValue(none), 0) << none;
    }
    EXPECT_EQ(integerValue("  8080abc"), 8080);
    EXPECT_EQ(integerValue("\t\n\xC2\xA0+7"), 7);
    EXPECT_EQ(integerValue("-12 3"), -12);
    using Limits = std::numeric_limits<std::int64_t>;
    for (const std::string large : {"9223372036854775808", "99999999999999999999"}) {
        EXPECT_EQ(integerValue(large), Limits::max()) << large;
        EXPECT_EQ(integerValue("-" + large), Limits::min()) << large;
    }
    EXPECT_EQ(integerValue("9223372036854775806"), Limits::max() - 1);
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
    const auto parts = [](const char* path) {
        return lastPathComponent(path) + " " + stringByDeletingLastPathComponent(path) + " " +
               pathExtension(path);
    };
    EXPECT_EQ(parts("/a/b.plist"), "b.plist /a plist");
    EXPECT_EQ(parts("/a/"), "a / ");
    EXPECT_EQ(parts("/"), "/ / ");
    EXPECT_EQ(parts("name"), "name  ");
    EXPECT_EQ(parts("/x/.hidden"), ".hidden /x ");
    EXPECT_EQ(parts("/x/a.tar.gz"), "a.tar.gz /x gz");
    EXPECT_EQ(parts("/x/dot."), "dot. /x ");
    EXPECT_EQ(stringByAppendingPathComponent("/a/", "/b"), "/a/b");
    EXPECT_EQ(stringByAppendingPathComponent("/", "b"), "/b");
    EXPECT_EQ(stringByDeletingPathExtension("/x.d/Report.pdf"), "/x.d/Report");
    EXPECT_EQ(pathComponents("/Volumes//B"), (std::vector<std::string>{"/", "Volumes", "B"}));
}

/// Holds one value, and notes what it is told of another's.
class Holder : public NSObject {
public:
    void setValueForKey(const PropertyList& newValue, const std::string&) override {
        value = newValue;
    }
    PropertyList valueForKey(const std::string&) const override { return value; }
    void observeValueForKeyPath(const std::string& key, NSObject&, const NSKeyValueChange& change,
                                void* context) override {
        EXPECT_EQ(context, this);
        told.push_back(key + *change.oldValue->string() + *change.newValue->string());
    }
    PropertyList value = "0";
    std::vector<std::string> told;
};

TEST(NSObjectTest, ObserversHearOfEveryAnnouncedChangeWithOldAndNew) {
    Holder subject, bound;
    auto observer = std::make_shared<Holder>();
    subject.addObserver(observer, "on", 3, observer.get());
    bound.bind("mirror", subject, "on");
    const auto change = [&](const char* to) {
        subject.willChangeValueForKey("on");
        subject.value = to;
        subject.didChangeValueForKey("on");
    };
    change("1");
    change("1");
    EXPECT_EQ(observer->told, (std::vector<std::string>{"on01", "on11"}));
    subject.removeObserver(*observer, "on");
    change("2");
    EXPECT_EQ(observer->told.size(), 2U);
    EXPECT_EQ(bound.value, PropertyList("2"));
    subject.addObserver(observer, "on", 3, observer.get());
    observer.reset(); // forgotten, not told
    change("3");
    EXPECT_THROW(NSObject().valueForKey("on"), NSException);
}

} // namespace
