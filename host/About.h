// What F1 shows: what the pane is for, the keys, and the versions of all that takes part.
#pragma once

#include "AppKit/NSWindow.h"
#include "Foundation/NSBundle.h"
#include "host/BackgroundWork.h"

#include <memory>
#include <QPointer>
#include <string>

class QMessageBox;

/// Main thread only.
class About {
public:
    /// The window lives longer. `client` is its bundle's identifier.
    About(NSWindow& window, std::shared_ptr<const NSBundle> pane, const std::string& client);

    /// Opens it, or brings it to the front. It leaves the pane's window alone.
    void show();

private:
    void open(const QString& clientVersion);

    NSWindow& window;
    const std::shared_ptr<const NSBundle> pane;
    BackgroundWork<QString> looking; // for the client's version
    QPointer<QMessageBox> box;
};
