#include "Foundation/NSWorkspace.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"

#include <algorithm>
#include <array>
#include <string_view>

NSWorkspace& NSWorkspace::sharedWorkspace() {
    static NSWorkspace workspace;
    return workspace;
}

bool NSWorkspace::isFilePackageAtPath(const std::string& path) const {
    constexpr std::array<std::string_view, 10> packages = {
        "app", "bundle", "prefPane", "plugin", "kext", "pkg", "mpkg", "qlgenerator", "rtfd", "xpc"};
    const auto& files = NSFileManager::defaultManager();
    if (!files.isDirectoryAtPath(path)) {
        return false;
    }
    return std::find(packages.begin(), packages.end(), pathExtension(path)) != packages.end() ||
           files.fileExistsAtPath(stringByAppendingPathComponent(path, "Contents/Info.plist"));
}
