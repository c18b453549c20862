#include "AppKit/NSApplication.h"

#include "AppKit/NSAccessibility.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QSocketNotifier>

NSApplication& NSApplication::sharedApplication() {
    // Never destroyed: threads that outlive the program's main function may still ask for it.
    static auto* application = new NSApplication;
    return *application;
}

NSApplication& NSApp() { return NSApplication::sharedApplication(); }

NSApplication::NSApplication() {
    static int count = 1;
    static char name[] = "Preferences";
    static char* arguments[] = {name, nullptr};
    application = std::make_unique<QApplication>(count, arguments);
    NSAccessibilityInstall();
    QGuiApplication::setQuitOnLastWindowClosed(false);
    QCoreApplication::setApplicationName("com.quorvane.Tessaline");
    QGuiApplication::setDesktopFileName("com.quorvane.Tessaline");

    NSRunLoop& loop = NSRunLoop::mainRunLoop();
    runLoopNotifier =
        std::make_unique<QSocketNotifier>(loop.fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(runLoopNotifier.get(), &QSocketNotifier::activated, application.get(),
                     [&loop] { loop.runReady(); });
}

NSApplication::~NSApplication() = default;

int NSApplication::run() { return QApplication::exec(); }

void NSApplication::stop(int status) { QApplication::exit(status); }

void NSApplication::windowIsGone(const NSWindow& gone) {
    if (window == &gone) {
        window = nullptr;
    }
}

void NSApplication::sendEventsUntilDate(Clock::Time untilDate, NSRunLoopMode mode) {
    const NSRunLoopModeScope scope(mode);
    ++waits;
    if (!QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents)) {
        NSRunLoop::mainRunLoop().runUntil([] { return false; }, untilDate, mode);
    }
    --waits;
}
