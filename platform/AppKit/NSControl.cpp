#include "AppKit/NSControl.h"

#include "Foundation/NSException.h"

void NSControl::sendAction() {
    if (action) {
        // Called from Qt's event handling, which nothing raised may pass through.
        reportExceptions([this] { action(this); });
    }
}

PropertyList NSControl::valueForKey(const std::string& key) const {
    if (key == "value") {
        return shownValue();
    }
    if (key == "enabled") {
        return isEnabled();
    }
    return NSObject::valueForKey(key);
}
