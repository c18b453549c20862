// A pane of a few controls with little behind them, so that the settings application can be tested
// alone: the first checkbox asks for an answer in a sheet, and the label tells what happened.
#include "AppKit/NSApplication.h"
#include "AppKit/NSButton.h"
#include "AppKit/NSPopUpButton.h"
#include "AppKit/NSTextField.h"
#include "Foundation/NSLog.h"
#include "pane/QVSwitch.h"
#include "PreferencePanes/NSPreferencePane.h"
#include "Shared/QVAlert.h"

class TestPane : public NSPreferencePane {
public:
    TestPane() {
        outlet("label", label);
        outlet("askCheck", askCheck);
        outlet("disabledCheck", disabledCheck);
        outlet("popUp", popUp);
        outlet("field", field);
        outlet("paneSwitch", paneSwitch);
        action("ask:", [this](NSObject*) { tell("answer", ask()); });
        action("change:", [this](NSObject*) { tell("change", ++changes); });
    }
    ~TestPane() override { NSLog("teardown"); }

    void mainViewDidLoad() override {
        paneSwitch->setEnabled(true);
        disabledCheck->setEnabled(false);
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
        label->setStringValue(what + " " + std::to_string(number));
    }

    NSTextField *label, *field;
    NSButton *askCheck, *disabledCheck;
    NSPopUpButton* popUp;
    QVSwitch* paneSwitch;
    long changes = 0;
};

NS_PRINCIPAL_CLASS(TestPane)
