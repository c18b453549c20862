#include "AppKit/NSNibOwner.h"

#include "Foundation/NSException.h"

bool NSNibOwner::connectOutlet(const std::string& name, NSObject* object) {
    const auto found = outlets.find(name);
    if (found == outlets.end()) {
        throw NSException(NSUndefinedKeyException, "unknown outlet " + name);
    }
    found->second.connected = found->second.connect(object);
    return found->second.connected;
}

void NSNibOwner::disconnectOutlets() {
    for (auto& [name, place] : outlets) {
        place.connected = place.connect(nullptr);
    }
}

const NSControl::Action* NSNibOwner::actionNamed(const std::string& selector) const {
    const auto found = actions.find(selector);
    return found == actions.end() ? nullptr : &found->second;
}

std::string NSNibOwner::unconnectedOutlet() const {
    for (const auto& [name, place] : outlets) {
        if (!place.connected) {
            return name;
        }
    }
    return "";
}
