#include "PreferencePanes/NSPreferencePane.h"

#include "AppKit/NSNib.h"

#include <QWidget>
#include <utility>

namespace {

const NSPreferencePane::PrincipalClass* lastClass = nullptr;

} // namespace

NSPreferencePane::NSPreferencePane() = default;
NSPreferencePane::~NSPreferencePane() = default;

void NSPreferencePane::loadMainView(const std::string& layoutPath) {
    view = NSNib(layoutPath).instantiateWithOwner(*this);
}

void NSPreferencePane::replyToShouldUnselect(bool shouldUnselect) {
    if (const auto reply = std::exchange(unselectReply, nullptr)) {
        reply(shouldUnselect);
    }
}

NSPreferencePane::PrincipalClass::PrincipalClass(const char* name,
                                                 std::shared_ptr<NSPreferencePane> (*make)())
    : name(name), make(make), before(std::exchange(lastClass, this)) {}

std::shared_ptr<NSPreferencePane> NSPreferencePane::paneOfClass(const std::string& name) {
    const auto* known = lastClass;
    while (known != nullptr && known->name != name) {
        known = known->before;
    }
    return known == nullptr ? nullptr : known->make();
}
