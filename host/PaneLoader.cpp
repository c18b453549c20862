#include "host/PaneLoader.h"

#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "System/Machine.h"
#include "System/TrustedPath.h"

#include <dlfcn.h>
#include <filesystem>

namespace {

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw NSException(NSInvalidArgumentException, path + ": " + reason);
}

std::string requiredKey(const NSBundle& bundle, const std::string& key) {
    const auto value = bundle.infoString(key);
    if (!value || value->empty()) {
        refuse(bundle.bundlePath(), "Contents/Info.plist has no " + key);
    }
    return *value;
}

/// What is loaded will have the rights that the user gives.
void requireTrusted(const std::string& path) {
    if (Machine::current().authorizationMode() == AuthorizationMode::system) {
        requireTrustedPath(path, Machine::current().realUserID());
    }
}

void loadCode(const NSBundle& bundle) {
    requiredKey(bundle, "CFBundleExecutable");
    const std::string path = bundle.executablePath().value_or("");
    requireTrusted(path);
    if (!dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE)) {
        refuse(bundle.bundlePath(), std::string("the executable does not load: ") + dlerror());
    }
}

} // namespace

LoadedPane loadPane(const std::string& bundlePath) {
    const std::string path = std::filesystem::absolute(bundlePath).lexically_normal().string();
    if (!NSFileManager::defaultManager().isDirectoryAtPath(path)) {
        refuse(path, "there is no such bundle");
    }
    const auto bundle = NSBundle::bundleWithPath(path);
    if (!bundle) {
        refuse(path, "Contents/Info.plist is missing or broken");
    }
    loadCode(*bundle);
    const std::string className = requiredKey(*bundle, "NSPrincipalClass");
    const auto pane = NSPreferencePane::paneOfClass(className);
    if (!pane) {
        refuse(path, "its code has no principal class " + className);
    }
    const std::string layoutName = requiredKey(*bundle, "NSMainNibFile") + ".ui";
    const auto layout = bundle->pathForResource(layoutName);
    if (!layout) {
        refuse(path, "there is no layout file " + layoutName);
    }
    requireTrusted(*layout);
    pane->loadMainView(*layout);
    return {pane, bundle->infoString("NSPrefPaneIconLabel").value_or(className),
            bundle->infoString("QVClientIdentifier").value_or(""), bundle};
}
