// How views, controls and windows show themselves to assistive technology. Main thread only.
#pragma once

#include <string>

class QWidget;

/// A status is a text that is read out when it changes; "none" is left to the toolkit, for good.
enum class NSAccessibilityRole { none, toggle, staticText, status, busyIndicator, window };

/// What something on the screen says of itself when asked.
struct NSAccessibilityDescription {
    NSAccessibilityRole role = NSAccessibilityRole::none;
    /// Holds where the layout file gives the widget no name.
    std::string label = {};
    bool shown = true;
    bool enabled = true; // of a toggle
    bool on = false;     // of a toggle
};

/// Spoken to through the widget that it is.
class NSAccessibility {
public:
    virtual ~NSAccessibility() = default;
    virtual NSAccessibilityDescription accessibilityDescription() const { return {}; }
    /// Does what a click on a toggle would.
    virtual void accessibilityPerformPress() {}
};

/// What of a description is no longer what it was. Told once for each change, since each is read
/// out.
enum class NSAccessibilityChange { on, enabled, appeared, vanished };
void NSAccessibilityPostChange(QWidget& widget, NSAccessibilityChange change);

/// Has a status read out.
void NSAccessibilityPostAnnouncement(QWidget& status, const std::string& text);

/// Makes all of this known to the toolkit; once, before there is a widget.
void NSAccessibilityInstall();
