#include "LiveHelper.h"
#include "support/TestMachine.h"

#include <csignal>
#include <filesystem>
#include <random>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

/// Real programs run against each other here, so time is the machine's.
class AuthorizationHelperTest : public RealTimeMachineTest {
protected:
    void SetUp() override {
        if (geteuid() != 0) {
            GTEST_SKIP() << "the helper works for the superuser alone";
        }
    }
};

/// The exit status of `work` in a child process, 2 for a signal.
int inChild(const std::function<int()>& work) {
    const pid_t child = fork();
    if (child == 0) {
        _exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
}

} // namespace

TEST_F(AuthorizationHelperTest, ServesTheProcessThatStartedIt) {
    const LiveHelper helper;
    ASSERT_TRUE(helper.isReady);
    EXPECT_EQ(helper.run("/bin/true", {}), errAuthorizationSuccess);
    EXPECT_EQ(helper.run("/no/such/tool", {}), errAuthorizationToolExecuteFailure);
    EXPECT_EQ(helper.run(directory.path(), {}), errAuthorizationToolExecuteFailure);
    EXPECT_EQ(helper.send("1-true\0"), errAuthorizationInvalidSet);
    EXPECT_EQ(helper.send(std::string(AuthorizationProtocol::maximumRequest + 1, '/')),
              errAuthorizationInvalidSet);
    EXPECT_EQ(helper.run("/bin/true", {}), errAuthorizationSuccess);
}

TEST_F(AuthorizationHelperTest, EndsWhenAnotherProcessUsesItsSocket) {
    constexpr uid_t nobody = 65534;
    for (const uid_t user : {uid_t{0}, nobody}) {
        const LiveHelper helper;
        ASSERT_TRUE(helper.isReady);
        const auto file = directory.path() + "/made-by-" + std::to_string(user);
        const int status = inChild([&] {
            return setuid(user) == 0 && helper.run("/bin/touch", {file}) == errAuthorizationInternal
                       ? EXIT_SUCCESS
                       : EXIT_FAILURE;
        });
        EXPECT_EQ(status, EXIT_SUCCESS) << user;
        EXPECT_TRUE(ends(helper.processIdentifier())) << user;
        EXPECT_FALSE(fs::exists(file)) << user;
    }
}

TEST_F(AuthorizationHelperTest, RefusesASocketThatAnotherProcessMade) {
    auto [here, there] = socketPair();
    const pid_t other = fork();
    if (other == 0) {
        auto [ours, theirs] = socketPair();
        AuthorizationProtocol::sendReply(there.get(), {0, std::move(theirs)});
        AuthorizationProtocol::sendReply(there.get(), {0, std::move(ours)});
        pause();
    }
    auto theirs = AuthorizationProtocol::receiveReply(here.get());
    auto ours = AuthorizationProtocol::receiveReply(here.get());
    ASSERT_TRUE(ours && ours->output && theirs && theirs->output);
    const LiveHelper helper({std::move(ours->output), std::move(theirs->output)});
    EXPECT_FALSE(helper.isReady);
    EXPECT_TRUE(ends(helper.processIdentifier()));
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
}

TEST_F(AuthorizationHelperTest, EndsWithItsOwnerEvenWhenTheSocketIsKeptOpen) {
    auto [here, there] = socketPair();
    auto pair = socketPair();
    const pid_t owner = fork();
    if (owner == 0) {
        LiveHelper helper(socketPair());
        const pid_t number = helper.processIdentifier();
        // The copy that goes to the other process outlives the owner.
        AuthorizationProtocol::sendReply(there.get(), {number, std::move(helper.socket)});
        pause();
    }
    auto kept = AuthorizationProtocol::receiveReply(here.get());
    ASSERT_TRUE(kept && kept->output);
    EXPECT_EQ(kill(kept->status, 0), 0);
    kill(owner, SIGKILL);
    waitpid(owner, nullptr, 0);
    EXPECT_TRUE(ends(kept->status));
}

TEST_F(AuthorizationHelperTest, SurvivesRandomRequests) {
    const LiveHelper helper;
    ASSERT_TRUE(helper.isReady);
    // Whatever a change makes of this path, no tool stands there.
    const auto path = directory.path() + "/none/tool";
    const auto valid = *AuthorizationProtocol::encode(
        {.wantsOutput = true, .path = path, .arguments = {"a", "b"}});
    std::mt19937 random(20261116);
    for (int i = 0; i < 100'000; ++i) {
        auto bytes = valid;
        if (random() % 16 == 0) {
            bytes.resize(1 + random() % 4096, static_cast<char>(random()));
        }
        // Most changes hit what decides: the header, and the end.
        for (auto changes = 1 + random() % 4; changes > 0; --changes) {
            const auto place = random() % 16 == 0 ? random() % bytes.size() : random() % 3;
            bytes[place] = static_cast<char>(random());
        }
        const auto status = helper.send(bytes);
        ASSERT_TRUE(status == errAuthorizationInvalidSet ||
                    status == errAuthorizationToolExecuteFailure)
            << status << " for " << testing::PrintToString(bytes);
    }
    EXPECT_EQ(helper.run("/bin/true", {}), errAuthorizationSuccess);
}
