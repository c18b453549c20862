#include "AppKit/NSApplication.h"

#include "AppKit/NSAccessibility.h"
#include "AppKit/Translation.h"

#include <cstdlib>
#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QSocketNotifier>
#include <QWindow>

NSApplication& NSApplication::sharedApplication(const std::vector<std::string>& toolkitOptions) {
    // Never destroyed: threads that outlive the program's main function may still ask for it.
    static auto* application = new NSApplication(toolkitOptions);
    return *application;
}

NSApplication& NSApp() { return NSApplication::sharedApplication(); }

NSApplication::NSApplication(const std::vector<std::string>& toolkitOptions)
    : words(toolkitOptions) {
    words.insert(words.begin(), "Preferences");
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    application = std::make_unique<QApplication>(count, arguments.data());
    // What is still to be deleted at the end goes before the screen's plug-in does; Qt 6.8 would do
    // it after. A window's end looks at data that Qt makes for the first one: it has to be there
    // longer than this.
    std::make_unique<QWindow>().reset();
    std::atexit([] { QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete); });
    if (QLocale().textDirection() == Qt::RightToLeft) {
        QGuiApplication::setLayoutDirection(Qt::RightToLeft);
    }
    installTranslation("qtbase", QLibraryInfo::path(QLibraryInfo::TranslationsPath));
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
