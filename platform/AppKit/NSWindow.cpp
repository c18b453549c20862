#include "AppKit/NSWindow.h"

#include "AppKit/NSApplication.h"
#include "AppKit/NSScrollView.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QScreen>
#include <QTimer>
#include <QVBoxLayout>
#include <QWindow>

NSWindow::NSWindow(const std::string& title, QWidget* contentView) : content(contentView) {
    const QString own = contentView->windowTitle();
    setWindowTitle(own.isEmpty() ? QString::fromStdString(title) : own);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(new NSScrollView(contentView));
    resize(layout->sizeHint().boundedTo(screen()->availableSize()));
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

/// The window stays in the screen's books, also hidden: a person who closes it again is heard.
void NSWindow::closeEvent(QCloseEvent* event) {
    // A field that the user was writing into is left now, which is when it takes its text.
    if (QWidget* focused = focusWidget()) {
        focused->clearFocus();
    }
    event->ignore();
    if (willClose) {
        willClose();
    } else {
        orderOut();
    }
}
