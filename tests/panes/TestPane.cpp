// A pane with the real one's layout and little behind it, so that the settings application can be
// tested alone: the first checkbox asks for an answer in a sheet and writes it into the status
// line.
#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSProgressIndicator.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSLog.h"
#include "pane/QVSwitch.h"
#include "PreferencePanes/NSPreferencePane.h"
#include "Shared/QVAlert.h"

#include <array>

class TestPane : public NSPreferencePane {
public:
    TestPane() {
        for (std::size_t index = 0; index < labels.size(); ++index) {
            outlet(labelNames[index], labels[index]);
        }
        outlet("statusSpinner", spinner);
        outlet("masterSwitch", masterSwitch);
        outlet("autoUpdateCheck", asks);
        outlet("preventUpdateDialogsCheck", plain);
        outlet("showMenuBarIconCheck", background);
        outlet("enableMaintenanceCheck", disabled);
        outlet("networkInterfacePopUp", popUp);
        outlet("networkCustomPortCheck", portCheck);
        outlet("networkDisableBonjour", bonjour);
        action("savePrefs:", [this](NSObject* sender) {
            if (sender == asks) {
                answered(ask());
            }
        });
        action("showHideMenuBarIcon:", [this](NSObject*) {
            NSThread::detachNewThread([this, keep = shared_from_this()] {
                const long answer = ask();
                performOnMainThread([&] { answered(answer); }, true);
            });
        });
        action("enableDisableMaintenance:", [](NSObject*) {});
        action("updateNetworkSettings:", [this](NSObject*) {
            status().setStringValue("network " + std::to_string(++networkActions));
        });
    }
    ~TestPane() override { NSLog("teardown"); }

    void mainViewDidLoad() override {
        masterSwitch->setEnabled(true);
        masterSwitch->setOn(true, false);
        disabled->setEnabled(false);
        popUp->addItemWithTitle("Any");
        for (const char* title : {"Ethernet", "Wi-Fi & more"}) {
            popUp->menu().addItem(std::make_shared<NSMenuItem>(title, nullptr, ""));
        }
        spinner->startAnimation();
        spinner->stopAnimation();
    }

private:
    static long ask() {
        return QVAlert::alertSheetWithMessageText("100% <b>sure</b>?",
                                                  {.defaultButton = "Yes & no",
                                                   .alternateButton = "Cancel",
                                                   .informativeText = "%@ stays",
                                                   .parentWindow = NSApp().mainWindow(),
                                                   .block = true});
    }
    NSTextField& status() { return *labels[1]; }
    void answered(long code) { status().setStringValue("answer " + std::to_string(code)); }

    static constexpr std::array labelNames{"versionLabel", "statusLabel", "masterOffLabel",
                                           "masterOnLabel", "networkCustomPortText"};
    std::array<NSTextField*, 5> labels{};
    NSProgressIndicator* spinner;
    QVSwitch* masterSwitch;
    NSButton *asks, *plain, *background, *disabled, *portCheck, *bonjour;
    NSPopUpButton* popUp;
    int networkActions = 0;
};

NS_PRINCIPAL_CLASS(TestPane)
