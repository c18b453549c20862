// The program as its windows see it: the event loop, and which window is the main one. Qt's event
// loop drives the main run loop, so timers and work for the main thread run while windows live.
#pragma once

#include "Foundation/NSRunLoop.h"
#include "System/Clock.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

class NSWindow;
class QApplication;
class QSocketNotifier;

class NSApplication {
public:
    /// Made on first use, on the main thread, and never destroyed. The toolkit's own options count
    /// on that first use.
    static NSApplication& sharedApplication(const std::vector<std::string>& toolkitOptions = {});
    NSApplication(const NSApplication&) = delete;
    NSApplication& operator=(const NSApplication&) = delete;

    /// Serves events until stop. Returns the status given there.
    int run();
    /// Makes the innermost run return. Main thread.
    void stop(int status);

    /// The window that carries the pane; null when there is none. Any thread may ask, but use it on
    /// the main thread only.
    NSWindow* mainWindow() const { return window; }
    void setMainWindow(NSWindow* mainWindow) { window = mainWindow; }
    /// Told by a window that is being destroyed.
    void windowIsGone(const NSWindow& gone);

    /// Dispatches the user's events that are there; if there are none, waits for what the main run
    /// loop serves in `mode`, at most until `untilDate`. For waits inside a call, as for a sheet.
    void sendEventsUntilDate(Clock::Time untilDate, NSRunLoopMode mode);
    /// Whether such a wait is under way, further down in the calls.
    bool isWaitingInCall() const { return waits > 0; }

private:
    explicit NSApplication(const std::vector<std::string>& toolkitOptions);
    ~NSApplication();

    int count = 0;
    std::vector<std::string> words; // of the command line, as the toolkit keeps it
    std::vector<char*> arguments;

    std::unique_ptr<QApplication> application;
    std::unique_ptr<QSocketNotifier> runLoopNotifier;
    std::atomic<NSWindow*> window = nullptr;
    int waits = 0;
};

/// Short for NSApplication::sharedApplication().
NSApplication& NSApp();
