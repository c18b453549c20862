// A top-level window around a view. Main thread only.
#pragma once

#include "Foundation/NSObject.h"

#include <functional>
#include <string>

#include <QWidget>

class NSWindow : public QWidget, public NSObject {
public:
    /// Becomes as large as the view wants to be. The view stays its owner's: the window lets it go
    /// before it is gone itself.
    NSWindow(const std::string& title, QWidget* contentView);
    ~NSWindow() override;

    /// Shows the window, above the others and with the keyboard's focus.
    void makeKeyAndOrderFront();
    /// Takes it off the screen.
    void orderOut();

    /// Called when the user closes the window.
    void setDelegate(std::function<void()> windowWillClose) {
        willClose = std::move(windowWillClose);
    }

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* contentView;
    std::function<void()> willClose;
};
