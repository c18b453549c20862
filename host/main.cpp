// The settings application: opens a preference pane in a window, for a person or for a script.

#include "AppKit/NSApplication.h"
#include "AppKit/NSWindow.h"
#include "Foundation/NSException.h"
#include "Foundation/NSOperationQueue.h"
#include "Foundation/NSProcessInfo.h"
#include "Foundation/NSRunLoop.h"
#include "host/HostMachine.h"
#include "host/Options.h"
#include "host/PaneCloser.h"
#include "host/PaneLoader.h"
#include "host/TerminationSignals.h"
#include "host/UIScript.h"
#include "System/Machine.h"
#include "System/SaneSurroundings.h"
#include "System/TerminationGuard.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace {

constexpr int failureStatus = 2;
constexpr int shellsSignalStatus = 128; // and the signal's number
constexpr double secondsForUnfinishedWork = 0.9;

/// Ends the program without waiting for threads that sleep, but with every log line written and no
/// file half replaced.
[[noreturn]] void end(int status) {
    NSOperationQueue::drainAll();
    TerminationGuard::closeForGood(secondsForUnfinishedWork);
    std::cout.flush();
    std::fflush(nullptr);
    _exit(status);
}

/// Qt would abort without a screen.
void requireScreen() {
    const auto given = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    if (!given("DISPLAY") && !given("WAYLAND_DISPLAY") && !given("QT_QPA_PLATFORM")) {
        throw NSException(NSInternalInconsistencyException,
                          "There is no screen; QT_QPA_PLATFORM=offscreen does without one");
    }
}

int runPane(const Options& options) {
    auto [pane, title] = loadPane(options.bundle);
    NSWindow window(title, pane->mainView());
    const auto finish = [&](int status) {
        if (NSApp().isWaitingInCall()) {
            window.orderOut();
            end(status); // the pane waits for a sheet's answer and cannot be taken down
        }
        NSApp().stop(status);
    };
    PaneCloser closer(*pane, window, finish);
    const auto close = [&](int status) { closer.close(status); };
    std::unique_ptr<UIScript> script;
    if (options.script) {
        script = std::make_unique<UIScript>(*options.script, window, close);
    }
    window.setWindowWillClose([&] { close(0); });
    NSApp().setMainWindow(&window);
    window.makeKeyAndOrderFront();
    window.waitUntilShown();
    pane->mainViewDidLoad();
    if (script) {
        script->start();
    }
    const int status = NSApp().run();
    window.orderOut();
    pane.reset();
    return status;
}

} // namespace

int main(int count, char** arguments) {
    takeSaneSurroundings();
    try {
        NSRunLoop::mainRunLoop(); // whoever asks first is the main thread
        const Options options = parseOptions({arguments + 1, arguments + count});
        if (options.help || options.version) {
            std::cout << (options.help ? usageText : versionText);
            return 0;
        }
        Machine::install(makeMachine(options));
        handleTerminationSignals([](int signal) { end(shellsSignalStatus + signal); });
        makeHomeFolders();
        requireScreen();
        NSApplication::sharedApplication();
        end(runPane(options));
    } catch (const std::exception& exception) {
        std::cerr << "Preferences: " << exception.what() << std::endl;
        end(failureStatus);
    }
}
