#include "host/ControlState.h"

#include "AppKit/NSControl.h"
#include "AppKit/NSView.h"
#include "Foundation/NSException.h"

namespace {

std::string textOf(const PropertyList& value) {
    if (const std::string* text = value.string()) {
        return *text;
    }
    return std::to_string(value.integer().value_or(0));
}

} // namespace

ControlState stateOfControl(const QWidget& widget) {
    if (const auto* control = dynamic_cast<const NSControl*>(&widget)) {
        return {textOf(control->valueForKey("value")), control->isEnabled()};
    }
    if (const auto* view = dynamic_cast<const NSView*>(&widget)) {
        const auto description = view->accessibilityDescription();
        if (description.role == NSAccessibilityRole::toggle) {
            return {description.on ? "1" : "0", description.enabled};
        }
    }
    throw NSException(NSInvalidArgumentException,
                      widget.objectName().toStdString() + " shows no value");
}
