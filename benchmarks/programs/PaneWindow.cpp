// The pane in the settings application's window, up to the moment when it is drawn: what
// WindowBenchmark measures. Says "shown" then, and ends with its standard input.
//
//   PaneWindow ROOT BUNDLE
#include "AppKit/NSApplication.h"
#include "AppKit/NSWindow.h"
#include "host/HostMachine.h"
#include "host/PaneLoader.h"
#include "System/Machine.h"

#include <cstdio>
#include <unistd.h>

int main(int, char** arguments) {
    NSRunLoop::mainRunLoop();
    Options options;
    options.root = arguments[1];
    Machine::install(makeMachine(options));
    NSApplication::sharedApplication();
    const LoadedPane loaded = loadPane(arguments[2]);
    NSWindow window(loaded.title, loaded.pane->mainView());
    window.makeKeyAndOrderFront();
    window.waitUntilShown();
    std::puts("shown");
    std::fflush(stdout);
    _exit(std::getchar() == EOF ? 0 : 1);
}
