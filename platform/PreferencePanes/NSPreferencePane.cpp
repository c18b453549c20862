#include "PreferencePanes/NSPreferencePane.h"

#include "AppKit/NSNib.h"

#include <map>
#include <QWidget>

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

bool NSPreferencePane::registerPrincipalClass(const std::string& name, Factory factory) {
    principalClasses()[name] = std::move(factory);
    return true;
}

std::shared_ptr<NSPreferencePane> NSPreferencePane::paneOfClass(const std::string& name) {
    const auto found = principalClasses().find(name);
    return found == principalClasses().end() ? nullptr : found->second();
}
