// A message with up to three buttons. As a sheet it blocks the window that it belongs to and
// nothing else; the program goes on and hears of the answer. Its texts are shown as they are: no
// markup, no format. Main thread only, but for the last reference, which any thread may drop.
#pragma once

#include "Foundation/NSObject.h"

#include <functional>
#include <memory>
#include <optional>
#include <QObject>
#include <QPointer>
#include <string>
#include <vector>

class NSWindow;
class QMessageBox;
class QPushButton;

/// The answers.
enum : int { NSAlertDefaultReturn = 1, NSAlertAlternateReturn = 0, NSAlertOtherReturn = -1 };

/// The titles of an alert's buttons. An absent or empty default title reads "OK"; the other two
/// buttons are only there when they are given.
struct NSAlertButtons {
    std::optional<std::string> defaultButton, alternateButton, otherButton;
};

class NSAlert : public NSObject {
public:
    /// What is called once, when the user has answered. Escape, closing the sheet and the end of
    /// its window count as the alternate button, or as the default one when there is none.
    using EndMethod = std::function<void(NSAlert& alert, int returnCode, void* contextInfo)>;

    /// Any thread may drop the last reference.
    static std::shared_ptr<NSAlert> alertWithMessageText(const std::string& messageText,
                                                         const NSAlertButtons& buttons,
                                                         const std::string& informativeText);
    NSAlert(const std::string& messageText, const NSAlertButtons& buttons,
            const std::string& informativeText);
    ~NSAlert() override;

    /// Shows it and returns. Without a window it is a dialog of its own.
    void beginSheetModalForWindow(NSWindow* window, EndMethod didEnd, void* contextInfo);
    /// Takes it off the screen; the end method is not called any more.
    void orderOut();

    std::string messageText() const;
    std::string informativeText() const;
    /// The button of that title; null for none.
    QPushButton* buttonWithTitle(const std::string& title) const;

    /// The alerts on the screen, the newest last.
    static const std::vector<NSAlert*>& shownAlerts();

private:
    void addButton(const std::optional<std::string>& title, int returnCode);
    int pressedCode() const;
    void ended(int returnCode);

    struct Button {
        QPushButton* button;
        std::string title;
        int returnCode;
    };
    QPointer<QMessageBox> box; // goes with the window that it was shown on
    std::vector<Button> shownButtons;
    EndMethod end;
    int escapeCode = NSAlertDefaultReturn;
    void* context = nullptr;
    QObject listener; // while it is there the alert hears of its box
};
