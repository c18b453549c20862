// A real pane, with its real view, on a simulated machine and a virtual clock.
#pragma once

#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSProgressIndicator.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSThread.h"
#include "pane/QVSwitch.h"
#include "pane/SheetUser.h"
#include "pane/SimulatedMachine.h"
#include "pane/Tessaline_Network_ClientPref.h"

#include <QApplication>

class PaneTest : public testing::Test {
protected:
    PaneTest();
    ~PaneTest() override;

    /// Installs the machine, with nothing but a client on it.
    void startOnMachine();
    /// Makes a pane, connects its view and runs its load sequence.
    void load();
    /// Lets virtual time pass; the main loop runs meanwhile.
    void runFor(double seconds);
    void runUntilIdle();

    template <class Control>
    Control& control(const char* name) {
        auto* found = dynamic_cast<Control*>(pane->mainView()->findChild<QWidget*>(name));
        if (found == nullptr) {
            throw std::runtime_error(std::string("no control ") + name);
        }
        return *found;
    }
    NSButton& check(const char* name) { return control<NSButton>(name); }
    NSTextField& text(const char* name) { return control<NSTextField>(name); }
    QVSwitch& masterSwitch() { return control<QVSwitch>("masterSwitch"); }
    bool spins() {
        return control<NSProgressIndicator>("statusSpinner").valueForKey("value") == true;
    }
    std::string status() { return text("statusLabel").stringValue(); }
    /// A click on the knob, as the view hands it on.
    void toggle();
    /// What the client would post.
    void clientSays(const std::string& status);
    void writeSettings(const std::string& file, const NSDictionary& settings);
    NSDictionary settings(const std::string& file = "com.quorvane.Tolvin.plist");
    /// The number of the console's lines that begin so.
    long told(const std::string& beginning);
    /// Puts a job file, or none, where the client's is.
    void writeJobFile(bool isThere = true);
    /// Notes every notification of the pane's from now on, with its time.
    void listen();
    /// What was done, and after how many seconds of the last pane's life.
    std::string timed(const std::string& deed, Clock::Time time) const;

    NSApplication& application = NSApplication::sharedApplication(); // before any event filter
    SheetUser sheets;
    TemporaryDirectory directory;
    std::shared_ptr<VirtualClock> clock = std::make_shared<VirtualClock>();
    std::shared_ptr<SimulatedMachine> machine =
        std::make_shared<SimulatedMachine>(directory.path(), clock);
    std::shared_ptr<Tessaline_Network_ClientPref> pane;
    Clock::Time loadTime;
    std::shared_ptr<int> listener = std::make_shared<int>();
    std::vector<std::string> heard;
};
