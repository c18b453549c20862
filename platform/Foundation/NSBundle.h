// Folders with an Info.plist: applications and plug-ins.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <memory>
#include <optional>
#include <string>

/// One bundle. Immutable; a broken folder gives none.
class NSBundle {
public:
    /// None unless the folder holds a readable Contents/Info.plist.
    static std::shared_ptr<const NSBundle> bundleWithPath(const std::string& path);
    /// An application of the user's or the machine's Applications folders, the machine's first.
    /// None when no readable one has the identifier.
    static std::shared_ptr<const NSBundle> bundleWithIdentifier(const std::string& identifier);
    /// The bundle whose executable holds the code at this address; none for code outside bundles.
    static std::shared_ptr<const NSBundle> bundleForCode(const void* address);
    /// Path of the executable that this process runs.
    static std::string mainExecutablePath();

    const std::string& bundlePath() const { return path; }
    /// The text under a key of the information dictionary.
    std::optional<std::string> infoString(const std::string& key) const {
        return info.stringForKey(key);
    }
    /// Contents/MacOS with the name under "CFBundleExecutable"; none without that key.
    std::optional<std::string> executablePath() const;
    /// A file in Contents/Resources; none when it is not there.
    std::optional<std::string> pathForResource(const std::string& name) const;

private:
    NSBundle(std::string path, NSDictionary info);

    std::string path;
    NSDictionary info;
};
