// What a window has on a desktop: an icon, the usual keys, help, and its place, which is the one it
// had before or inside another program's window.
#pragma once

#include "Foundation/NSBundle.h"
#include "host/About.h"
#include "host/Embedding.h"
#include "host/Options.h"
#include "host/WindowPlace.h"

#include <functional>
#include <memory>
#include <string>

class WindowManners {
public:
    /// F1 shows help; Ctrl+W, Ctrl+Q and Escape close the window, unless it is inside another
    /// program's, which has such keys of its own. Before the window is shown; it lives longer.
    WindowManners(NSWindow& window, const Options& options,
                  const std::shared_ptr<const NSBundle>& pane, const std::string& client);

private:
    void addAction(const QString& title, const QList<QKeySequence>& keys,
                   std::function<void()> act);

    NSWindow& window;
    About about;
    std::unique_ptr<Embedding> embedding;
    std::unique_ptr<WindowPlace> place; // scripts find every window alike
};
