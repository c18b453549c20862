#include "PreferencePanes/NSPreferencePane.h"

#include "AppKit/NSNib.h"

#include <map>
#include <QWidget>
#include <utility>

namespace {

std::map<std::string, NSPreferencePane::Factory>& principalClasses() {
    static std::map<std::string, NSPreferencePane::Factory> classes;
    return classes;
}

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

bool NSPreferencePane::registerPrincipalClass(const std::string& name, Factory factory) {
    principalClasses()[name] = std::move(factory);
    return true;
}

std::shared_ptr<NSPreferencePane> NSPreferencePane::paneOfClass(const std::string& name) {
    const auto found = principalClasses().find(name);
    return found == principalClasses().end() ? nullptr : found->second();
}
