#include "pane/PaneFixture.h"
#include "pane/QVSwitchButtonCALayer.h"
#include "pane/SimulatedLogin.h"
#include "support/RealTime.h"

#include <cstdlib>
#include <set>

namespace {

class SimulationTest : public PaneTest {
protected:
    static int environment(const char* name, int otherwise) {
        const char* value = std::getenv(name);
        return value != nullptr ? std::atoi(value) : otherwise;
    }

    void live(unsigned seed);
    void act(SimulatedLogin& login);
    void expectRest(int clients);
    QVSwitchButtonCALayer& knob() {
        return dynamic_cast<QVSwitchButtonCALayer&>(
            *masterSwitch().layer()->sublayers().front()->sublayers().front());
    }
};

/// What a user does at some moment.
void SimulationTest::act(SimulatedLogin& login) {
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
}

void SimulationTest::expectRest(int clients) {
    EXPECT_TRUE(!spins() && masterSwitch().isEnabled());
    const std::set<std::string> down = {"Status: Disconnected", "Status: Timed out",
                                        "Status: Not loaded", "Status: Relaunching..."};
    const bool jobFile = std::filesystem::is_regular_file(machine->jobFile());
    const bool up = jobFile && !down.contains(status()), on = masterSwitch().isOn();
    // A client that went away in the middle of a relaunch leaves the switch where the user put it.
    EXPECT_TRUE(on == up || status() == "Status: Relaunching...") << status();
    const double right = masterSwitch().width() - knob().knobFrame().size.width;
    EXPECT_EQ(knob().isOn(), on);
    EXPECT_EQ(knob().knobFrame().origin.x, on ? right : 0) << "the picture";
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
    sheets.later = [&](auto press) { login.after(login.upTo(6), press); };
    login.prepare();
    load();
    for (int count = login.below(8); count >= 0; --count) {
        login.after(login.upTo(60), [&] {
            if (pane) {
                act(login);
            }
        });
    }
    if (login.chance(0.2)) {
        login.after(login.upTo(60), [this] { pane = nullptr; });
    }
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
