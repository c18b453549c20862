// How a view shows itself to assistive technology.
#pragma once

#include <string>

enum class NSAccessibilityRole { none, toggle };

/// What a view says of itself when asked.
struct NSAccessibilityDescription {
    NSAccessibilityRole role = NSAccessibilityRole::none;
    std::string label;
    bool enabled = true;
    bool on = false; // of a toggle
};

class NSView;

/// Tells assistive technology that the view's description is no longer what it was.
void NSAccessibilityPostValueChanged(NSView& view);

/// Makes views known to assistive technology; needed once. Every view calls it.
void NSAccessibilityInstall();
