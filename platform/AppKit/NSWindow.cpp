#include "AppKit/NSWindow.h"

#include "AppKit/NSApplication.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

NSWindow::NSWindow(const std::string& title, QWidget* contentView) : content(contentView) {
    setWindowTitle(QString::fromStdString(title));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(contentView);
}

NSWindow::~NSWindow() {
    NSApp().windowIsGone(*this);
    if (content) {
        content->setParent(nullptr);
    }
}

void NSWindow::makeKeyAndOrderFront() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void NSWindow::waitUntilShown() {
    QTimer limit; // ends the wait for a screen that never answers
    limit.setSingleShot(true);
    limit.start(1000);
    while (!windowHandle()->isExposed() && limit.isActive()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents |
                                        QEventLoop::WaitForMoreEvents);
    }
    repaint();
}

void NSWindow::orderOut() { hide(); }

void NSWindow::closeEvent(QCloseEvent* event) {
    // A field that the user was writing into is left now, which is when it takes its text.
    if (QWidget* focused = focusWidget()) {
        focused->clearFocus();
    }
    event->accept();
    if (willClose) {
        willClose();
    }
}
