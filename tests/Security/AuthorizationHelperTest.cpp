#include "LiveHelper.h"
#include "support/TestMachine.h"

#include <csignal>
#include <filesystem>
#include <sys/prctl.h>
#include <sys/wait.h>

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

/// Another process, which does this and then lives until it is ended.
class OtherProcess {
public:
    explicit OtherProcess(const std::function<void()>& work) : process(fork()) {
        if (process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            work();
            pause();
        }
    }
    ~OtherProcess() { end(); }
    void end() {
        if (process > 0) {
            kill(process, SIGKILL);
            waitpid(std::exchange(process, 0), nullptr, 0);
        }
    }

private:
    pid_t process;
};

} // namespace

TEST_F(AuthorizationHelperTest, ServesTheProcessThatStartedIt) {
    const LiveHelper helper;
    ASSERT_TRUE(helper.isReady);
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
        const OtherProcess other([&] {
            if (setuid(user) == 0) {
                helper.run("/bin/touch", {file});
            }
        });
        EXPECT_TRUE(ends(helper.process->processIdentifier())) << user;
        EXPECT_FALSE(std::filesystem::exists(file)) << user;
    }
}

TEST_F(AuthorizationHelperTest, RefusesASocketThatAnotherProcessMade) {
    const SocketPair way;
    const OtherProcess other([&] {
        SocketPair made;
        AuthorizationProtocol::sendReply(way.theirs.get(), {0, std::move(made.ours)});
        AuthorizationProtocol::sendReply(way.theirs.get(), {0, std::move(made.theirs)});
    });
    SocketPair made;
    for (auto* end : {&made.ours, &made.theirs}) {
        auto received = AuthorizationProtocol::receiveReply(way.ours.get());
        ASSERT_TRUE(received && received->output);
        *end = std::move(received->output);
    }
    const LiveHelper helper(std::move(made));
    EXPECT_FALSE(helper.isReady);
    EXPECT_TRUE(ends(helper.process->processIdentifier()));
}

TEST_F(AuthorizationHelperTest, EndsWithItsOwnerEvenWhenTheSocketIsKeptOpen) {
    const SocketPair way;
    OtherProcess owner([&] {
        LiveHelper helper;
        // The copy that goes to the other process outlives the owner.
        AuthorizationProtocol::sendReply(
            way.theirs.get(), {helper.process->processIdentifier(), std::move(helper.socket)});
        pause();
    });
    const auto kept = AuthorizationProtocol::receiveReply(way.ours.get());
    ASSERT_TRUE(kept && kept->output);
    EXPECT_EQ(kill(kept->status, 0), 0);
    owner.end();
    EXPECT_TRUE(ends(kept->status));
}
