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
        for (std::size_t index = 0; index < checks.size(); ++index) {
            outlet(checkNames[index], checks[index]);
        }
        outlet("statusSpinner", spinner);
        outlet("masterSwitch", masterSwitch);
        outlet("networkInterfacePopUp", popUp);
        action("savePrefs:", [this](NSObject* sender) {
            if (sender == checks[0]) {
                tell("answer", ask());
            }
        });
        action("showHideMenuBarIcon:", [](NSObject*) {});
        action("enableDisableMaintenance:", [](NSObject*) {});
        action("updateNetworkSettings:", [this](NSObject*) { tell("network", ++networkActions); });
    }
    ~TestPane() override { NSLog("teardown"); }

    void mainViewDidLoad() override {
        masterSwitch->setEnabled(true);
        masterSwitch->setOn(true, false);
        checks[1]->setEnabled(false);
        popUp->addItemWithTitle("Any");
        popUp->addItemWithTitle("Wi-Fi & more");
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
    void tell(const std::string& what, long number) {
        labels[1]->setStringValue(what + " " + std::to_string(number));
    }

    static constexpr std::array labelNames{"versionLabel", "statusLabel", "masterOffLabel",
                                           "masterOnLabel", "networkCustomPortText"};
    static constexpr std::array checkNames{"autoUpdateCheck",           "enableMaintenanceCheck",
                                           "preventUpdateDialogsCheck", "showMenuBarIconCheck",
                                           "networkCustomPortCheck",    "networkDisableBonjour"};
    std::array<NSTextField*, 5> labels{};
    std::array<NSButton*, 6> checks{};
    NSProgressIndicator* spinner;
    QVSwitch* masterSwitch;
    NSPopUpButton* popUp;
    long networkActions = 0;
};

NS_PRINCIPAL_CLASS(TestPane)
