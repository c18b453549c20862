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
#include "host/ProgramLog.h"
#include "host/SingleWindow.h"
#include "host/TerminationSignals.h"
#include "host/Toolkit.h"
#include "host/TroubleWatch.h"
#include "host/UIScript.h"
#include "host/WindowManners.h"
#include "System/Machine.h"
#include "System/SaneSurroundings.h"
#include "System/TerminationGuard.h"

#include <algorithm>
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

/// Qt would abort without a screen. Only X11 has windows inside other programs'.
void requireScreen(const Options& options) {
    const auto given = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    if (options.socket && given("DISPLAY")) {
        setenv("QT_QPA_PLATFORM", "xcb", 0);
    }
    const bool chosen = std::ranges::any_of(options.toolkit, [](const std::string& option) {
        return option == "-platform" || option == "-display";
    });
    if (!chosen && !given("DISPLAY") && !given("WAYLAND_DISPLAY") && !given("QT_QPA_PLATFORM")) {
        throw NSException(NSInternalInconsistencyException,
                          "There is no screen; QT_QPA_PLATFORM=offscreen does without one");
    }
}

/// A person's own window of a bundle with a name; scripts and sandboxes have as many as they like.
std::unique_ptr<SingleWindow> singleWindow(const Options& options) {
    const auto bundle = NSBundle::bundleWithPath(options.bundle);
    const auto name = bundle ? bundle->infoString("CFBundleIdentifier") : std::nullopt;
    const bool isPlain = !options.root && !options.script && !options.socket;
    return name && isPlain
               ? std::make_unique<SingleWindow>(Machine::current().sessionBusAddress(), *name)
               : nullptr;
}

int runPane(const Options& options, SingleWindow* single) {
    auto [pane, title, client, bundle] = loadPane(options.bundle);
    NSWindow window(title, pane->mainView());
    const WindowManners manners(window, options, bundle, client);
    const auto finish = [&](int status) {
        if (single) {
            single->leave(); // who starts now has to have a window of its own
        }
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
    if (single) {
        single->serve([&] { closer.comeBack(); });
    }
    std::unique_ptr<TroubleWatch> troubles;
    if (!client.empty()) {
        troubles = std::make_unique<TroubleWatch>(window, client);
    }
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
        requireScreen(options);
        const auto single = singleWindow(options);
        if (single && single->isShownByAnother()) {
            end(0);
        }
        makeLogFile();
        startToolkit(options.toolkit);
        end(runPane(options, single.get()));
    } catch (const std::exception& exception) {
        std::cerr << "Preferences: " << exception.what() << std::endl;
        end(failureStatus);
    }
}
