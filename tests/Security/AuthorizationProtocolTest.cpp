#include "Security/AuthorizationProtocol.h"

#include <gtest/gtest.h>
#include <random>

using namespace AuthorizationProtocol;

TEST(AuthorizationProtocol, SendsNothingThatCouldBeMisread) {
    const Request unsendable[] = {
        {false, "bin/true", {}},
        {false, std::string("/bin/true\0/bin/false", 20), {}},
        {false, "/bin/true", {std::string("a\0b", 3)}},
        {false, "/bin/true", {std::string(maximumRequest, 'a')}},
        {false, "/bin/true", std::vector<std::string>(maximumArguments + 1)},
    };
    for (const auto& request : unsendable) {
        EXPECT_FALSE(encode(request)) << request.path;
    }
}

TEST(AuthorizationProtocol, SurvivesRandomBytes) {
    std::mt19937 random(20261116);
    const auto valid = *encode({true, "/bin/cp", {"-f", "/a", "/b"}});
    int decoded = 0;
    for (int i = 0; i < 100'000; ++i) {
        std::string bytes = valid.substr(0, random() % (valid.size() + 1));
        bytes.append(random() % 8, static_cast<char>(random()));
        for (auto changes = random() % 4; changes > 0 && !bytes.empty(); --changes) {
            bytes[random() % bytes.size()] = static_cast<char>(random() % 2 ? random() : 0);
        }
        if (const auto request = decode(bytes)) {
            ++decoded;
            ASSERT_EQ(encode(*request), bytes) << "one request, two spellings";
        }
    }
    EXPECT_GT(decoded, 1000) << "the random bytes never came near a request";
}
