#include "AppKit/NSControl.h"

void NSControl::sendAction() {
    if (action)
        action(this);
}

PropertyList NSControl::valueForKey(const std::string& key) const {
    if (key == "value")
        return shownValue();
    if (key == "enabled")
        return isEnabled();
    return NSObject::valueForKey(key);
}
