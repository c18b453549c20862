// A top-level window around a view, which scrolls where it has too little room. Main thread only.
#pragma once

#include "AppKit/NSAccessibility.h"
#include "Foundation/NSObject.h"

#include <functional>
#include <QPointer>
#include <QWidget>
#include <string>

class NSWindow : public QWidget, public NSObject, public NSAccessibility {
public:
    /// Becomes as large as the view wants to be and the screen allows; its title is the
    /// view's own, else this one. The view stays its owner's:
    /// the window lets it go before it is gone itself.
    NSWindow(const std::string& title, QWidget* contentView);
    ~NSWindow() override;

    /// Shows the window, above the others and with the keyboard's focus.
    void makeKeyAndOrderFront();
    /// Returns when the window has been drawn on the screen, or after a second. No user's event is
    /// served meanwhile.
    void waitUntilShown();
    /// Takes it off the screen.
    void orderOut();

    /// What happens when the user closes the window, again if he does so while it is on its way
    /// out; without a handler it is taken off the screen. A field that was being written into has
    /// taken its text before.
    void setWindowWillClose(std::function<void()> handler) { willClose = std::move(handler); }

    NSAccessibilityDescription accessibilityDescription() const override {
        return {.role = NSAccessibilityRole::window}; // its title is its name
    }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QPointer<QWidget> content;
    std::function<void()> willClose;
};
