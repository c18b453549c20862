// Pictures of a window, for documents and for looking at what a script did.
#pragma once

#include "AppKit/NSWindow.h"

#include <string>

/// Writes the window, with the sheets in front of it, as PNG. False when the file cannot be
/// written.
bool writeSnapshot(NSWindow& window, const std::string& path);
