// What a view is told of the mouse and the keyboard.
#pragma once

#include "QuartzCore/CGGeometry.h"

#include <string>

class NSEvent {
public:
    /// A mouse event. `clickCount` counts the presses that followed each other quickly in one
    /// place.
    NSEvent(CGPoint locationInWindow, int clickCount)
        : location(locationInWindow), clicks(clickCount) {}
    /// A key event: the text of the key, and whether it comes from holding the key down.
    NSEvent(std::string characters, bool isARepeat)
        : text(std::move(characters)), repeated(isARepeat) {}

    /// In the window's coordinates, y upwards.
    CGPoint locationInWindow() const { return location; }
    int clickCount() const { return clicks; }
    const std::string& characters() const { return text; }
    bool isARepeat() const { return repeated; }

private:
    CGPoint location;
    int clicks = 0;
    std::string text;
    bool repeated = false;
};
