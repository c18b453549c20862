// Leaves the pane as it wants to be left: at once, or when what it has under way is over.
#pragma once

#include "AppKit/NSWindow.h"
#include "PreferencePanes/NSPreferencePane.h"

#include <functional>
#include <QTimer>

class PaneCloser {
public:
    /// `finish` ends the program.
    PaneCloser(NSPreferencePane& pane, NSWindow& window, std::function<void(int status)> finish);

    /// Takes the window away; the end follows when the pane allows it, or after a minute. Asked
    /// again meanwhile, it ends at once.
    void close(int status);
    /// Shows the window, and the pane is not left after all.
    void comeBack();

private:
    void waitForReply();

    NSPreferencePane& pane;
    NSWindow& window;
    std::function<void(int)> finish;
    QTimer limit; // runs while the pane's reply is waited for
    int status = 0;
};
