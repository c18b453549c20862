// What F1 shows: what the pane is for, the keys, and the versions of all that takes part.
#pragma once

#include "AppKit/NSWindow.h"
#include "Foundation/NSBundle.h"

#include <memory>
#include <QPointer>
#include <string>
#include <utility>

class QMessageBox;

/// Main thread only.
class About {
public:
    /// The window lives longer, and this as long as events are served.
    About(NSWindow& window, std::shared_ptr<const NSBundle> pane, std::string client)
        : window(window), pane(std::move(pane)), client(std::move(client)) {}

    /// Opens it, or brings it to the front. It leaves the pane's window alone.
    void show();

private:
    void open(const QString& clientVersion);

    NSWindow& window;
    const std::shared_ptr<const NSBundle> pane;
    const std::string client; // its bundle's identifier
    QPointer<QMessageBox> box;
};
