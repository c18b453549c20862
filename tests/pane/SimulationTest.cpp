#include "pane/PaneFixture.h"
#include "pane/QVSwitchButtonCALayer.h"
#include "pane/SimulatedLogin.h"
#include "Shared/QVAuthorization.h"
#include "support/RealTime.h"
#include "System/Machine.h"

#include <cstdlib>
#include <filesystem>

namespace {

class SimulationTest : public PaneTest {
protected:
    static int environment(const char* name, int otherwise) {
        const char* value = std::getenv(name);
        return value != nullptr ? std::atoi(value) : otherwise;
    }

    void live(unsigned seed);
    void inviteUser(SimulatedLogin& login);
    void expectRest(int clients);
    QVSwitchButtonCALayer& knob() {
        return dynamic_cast<QVSwitchButtonCALayer&>(
            *masterSwitch().layer()->sublayers().front()->sublayers().front());
    }
};

void SimulationTest::inviteUser(SimulatedLogin& login) {
    for (int count = login.below(8); count >= 0; --count) {
        login.after(login.upTo(60), [this, &login] {
            if (!pane) {
                return;
            }
            const double x = login.upTo(masterSwitch().width());
            switch (login.below(7)) {
            case 0:
                check("showMenuBarIconCheck").click();
                break;
            case 1:
                check("networkDisableBonjour").click();
                break;
            case 2: // a drag, enabled or not, let go after a while
                knob().mouseDown({x, 10});
                knob().mouseDragged({login.upTo(masterSwitch().width()), 10});
                login.after(login.upTo(10), [this] {
                    if (pane) {
                        knob().mouseUp({});
                    }
                });
                break;
            default:
                toggle();
            }
        });
    }
    if (login.chance(0.2)) {
        login.after(login.upTo(60), [this] { pane = nullptr; });
    }
}

void SimulationTest::expectRest(int clients) {
    EXPECT_FALSE(spins());
    EXPECT_TRUE(masterSwitch().isEnabled());
    const std::vector<std::string> down = {"Status: Disconnected", "Status: Timed out",
                                           "Status: Not loaded", "Status: Relaunching..."};
    const bool up = std::filesystem::is_regular_file(machine->jobFile()) &&
                    std::find(down.begin(), down.end(), status()) == down.end();
    // A client that went away in the middle of a relaunch leaves the switch where the user put it.
    EXPECT_TRUE(masterSwitch().isOn() == up || status() == "Status: Relaunching...") << status();
    const double right = masterSwitch().width() - knob().knobFrame().size.width;
    EXPECT_EQ(knob().isOn(), masterSwitch().isOn());
    EXPECT_EQ(knob().knobFrame().origin.x, masterSwitch().isOn() ? right : 0) << "the picture";
    EXPECT_EQ(clients, up ? 1 : 0) << status();
    EXPECT_EQ(check("autoUpdateCheck").isEnabled(), up);
    EXPECT_EQ(check("enableMaintenanceCheck").isEnabled(),
              up && check("showMenuBarIconCheck").state() == 1);
}

void SimulationTest::live(unsigned seed) {
    TemporaryDirectory disk("/dev/shm");
    clock = std::make_shared<VirtualClock>();
    machine = std::make_shared<SimulatedMachine>(disk.path(), clock);
    startOnMachine();
    SimulatedLogin login(*machine, seed);
    machine->dialog = [&login] {
        NSThread::sleepForTimeInterval(login.upTo(6));
        return login.chance(0.7) ? AuthorizationMode::grant : AuthorizationMode::deny;
    };
    sheets.later = [&](std::function<void()> press) {
        login.after(login.upTo(6), std::move(press)); // some thought
    };
    login.prepare();
    load();
    inviteUser(login);
    runFor(65);
    login.calmDown();
    runFor(85);
    EXPECT_TRUE(eventually([&] { return NSThread::running() == login.threads; }));
    if (pane) {
        expectRest(login.clients());
    } else {
        EXPECT_LE(login.clients(), std::filesystem::is_regular_file(machine->jobFile()) ? 1 : 0)
            << "off, and yet there";
    }
    const std::weak_ptr<Tessaline_Network_ClientPref> weak = pane;
    pane = nullptr;
    login.end();
    runUntilIdle();
    EXPECT_TRUE(weak.expired());
    QApplication::processEvents();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); // no loop of Qt's runs here
}

TEST_F(SimulationTest, WhateverHappensThePaneComesToRestInAgreementWithTheClient) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    const int usual = 300;
#else
    const int usual = 10000;
#endif
    const int first = environment("TESSALINE_SEED", 1);
    const int count = std::getenv("TESSALINE_SEED") ? 1 : environment("TESSALINE_SCHEDULES", usual);
    // The first login opens what stays, and threads of Qt's come and go with two or three; what
    // each login leaves behind is soon more.
    const auto most = entries("/proc/self/fd") + 30;
    for (int seed = first; seed < first + count; ++seed) {
        live(static_cast<unsigned>(seed));
        EXPECT_LT(entries("/proc/self/fd"), most);
        ASSERT_FALSE(HasFailure()) << "replay with TESSALINE_SEED=" << seed;
    }
}

} // namespace
