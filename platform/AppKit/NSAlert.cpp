#include "AppKit/NSAlert.h"

#include "AppKit/NSWindow.h"
#include "Foundation/NSException.h"
#include "Foundation/NSThread.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace {

std::vector<NSAlert*> shown;

QMessageBox::ButtonRole roleOf(int returnCode) {
    switch (returnCode) {
    case NSAlertDefaultReturn:
        return QMessageBox::AcceptRole;
    case NSAlertAlternateReturn:
        return QMessageBox::RejectRole;
    default:
        return QMessageBox::ActionRole;
    }
}

} // namespace

std::shared_ptr<NSAlert> NSAlert::alertWithMessageText(const std::string& messageText,
                                                       const NSAlertButtons& buttons,
                                                       const std::string& informativeText) {
    return makeForMainThread<NSAlert>(messageText, buttons, informativeText);
}

NSAlert::NSAlert(const std::string& messageText, const NSAlertButtons& buttons,
                 const std::string& informativeText)
    : box(new QMessageBox) {
    box->setIcon(QMessageBox::Warning);
    box->setTextFormat(Qt::PlainText);
    box->setText(QString::fromStdString(messageText));
    box->setInformativeText(QString::fromStdString(informativeText));
    // The second text is a label of its own, which the format above does not reach.
    for (QLabel* label : box->findChildren<QLabel*>()) {
        label->setTextFormat(Qt::PlainText);
    }
    const bool named = buttons.defaultButton && !buttons.defaultButton->empty();
    addButton(named ? buttons.defaultButton : "OK", NSAlertDefaultReturn);
    addButton(buttons.alternateButton, NSAlertAlternateReturn);
    addButton(buttons.otherButton, NSAlertOtherReturn);
    box->setDefaultButton(shownButtons.front().button);
    if (buttons.alternateButton) {
        box->setEscapeButton(shownButtons[1].button);
    } else if (shownButtons.size() == 1) {
        box->setEscapeButton(shownButtons.front().button);
    }
    escapeCode = buttons.alternateButton ? NSAlertAlternateReturn : NSAlertDefaultReturn;
    QObject::connect(box, &QDialog::finished, &listener, [this] { ended(pressedCode()); });
    QObject::connect(box, &QObject::destroyed, &listener, [this] { ended(escapeCode); });
}

NSAlert::~NSAlert() {
    orderOut();
    if (box) {
        box->deleteLater(); // the end method, which the box calls, may be what lets the alert go
    }
}

void NSAlert::addButton(const std::optional<std::string>& title, int returnCode) {
    if (!title) {
        return;
    }
    // A single ampersand would mark the next letter as a shortcut.
    const QString text = QString::fromStdString(*title).replace("&", "&&");
    shownButtons.push_back({box->addButton(text, roleOf(returnCode)), *title, returnCode});
}

void NSAlert::beginSheetModalForWindow(NSWindow* window, EndMethod didEnd, void* contextInfo) {
    end = std::move(didEnd);
    context = contextInfo;
    if (window) {
        box->setParent(window, box->windowFlags() | Qt::Sheet);
        box->setWindowModality(Qt::WindowModal);
    }
    box->setWindowTitle(window ? window->windowTitle() : box->text());
    shown.push_back(this);
    box->show();
}

void NSAlert::orderOut() {
    end = nullptr;
    std::erase(shown, this);
    if (box) {
        box->hide();
    }
}

int NSAlert::pressedCode() const {
    const auto* pressed = box->clickedButton();
    for (const Button& button : shownButtons) {
        if (button.button == pressed) {
            return button.returnCode;
        }
    }
    return NSAlertDefaultReturn;
}

void NSAlert::ended(int returnCode) {
    std::erase(shown, this);
    // Moved out first: the call may drop what the method holds, this alert included.
    if (const EndMethod method = std::exchange(end, nullptr)) {
        reportExceptions([&] { method(*this, returnCode, context); });
    }
}

std::string NSAlert::messageText() const { return box ? box->text().toStdString() : ""; }

std::string NSAlert::informativeText() const {
    return box ? box->informativeText().toStdString() : "";
}

QPushButton* NSAlert::buttonWithTitle(const std::string& title) const {
    for (const Button& button : shownButtons) {
        if (box && button.title == title) {
            return button.button;
        }
    }
    return nullptr;
}

const std::vector<NSAlert*>& NSAlert::shownAlerts() { return shown; }
