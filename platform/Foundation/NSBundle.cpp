#include "Foundation/NSBundle.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "System/LoadedModule.h"
#include "System/ProcessList.h"

namespace {

/// None when no application of the folder has the identifier.
std::shared_ptr<const NSBundle> applicationIn(const std::string& folder,
                                              const std::string& identifier) {
    const auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder);
    for (const auto& name : names.value_or(std::vector<std::string>())) {
        if (pathExtension(name) != "app") {
            continue;
        }
        auto bundle = NSBundle::bundleWithPath(stringByAppendingPathComponent(folder, name));
        if (bundle && bundle->infoString("CFBundleIdentifier") == identifier) {
            return bundle;
        }
    }
    return nullptr;
}

} // namespace

NSBundle::NSBundle(std::string path, NSDictionary info)
    : path(std::move(path)), info(std::move(info)) {}

std::shared_ptr<const NSBundle> NSBundle::bundleWithPath(const std::string& path) {
    auto info =
        dictionaryWithContentsOfFile(stringByAppendingPathComponent(path, "Contents/Info.plist"));
    return info ? std::shared_ptr<const NSBundle>(new NSBundle(path, std::move(*info))) : nullptr;
}

std::shared_ptr<const NSBundle> NSBundle::bundleWithIdentifier(const std::string& identifier) {
    // The machine's first: what runs for every user must not lie in one user's home.
    for (const auto domain : {SearchDomain::local, SearchDomain::user}) {
        for (const auto& folder : NSSearchPathForDirectoriesInDomains(
                 NSSearchPathDirectory::application, static_cast<unsigned>(domain))) {
            if (auto bundle = applicationIn(folder, identifier)) {
                return bundle;
            }
        }
    }
    return nullptr;
}

std::shared_ptr<const NSBundle> NSBundle::bundleForCode(const void* address) {
    const std::string separator = "/Contents/";
    const std::string module = moduleOfCode(address);
    // From the innermost folder outwards, so that a bundle inside another one is found first.
    for (std::size_t position = module.rfind(separator); position != std::string::npos;
         position = position == 0 ? std::string::npos : module.rfind(separator, position - 1)) {
        if (auto bundle = bundleWithPath(module.substr(0, position))) {
            return bundle;
        }
    }
    return nullptr;
}

std::string NSBundle::mainExecutablePath() { return executableOfThisProcess(); }

std::optional<std::string> NSBundle::executablePath() const {
    const auto name = infoString("CFBundleExecutable");
    return name ? std::optional(stringByAppendingPathComponent(path + "/Contents/MacOS", *name))
                : std::nullopt;
}

std::optional<std::string> NSBundle::pathForResource(const std::string& name) const {
    const std::string file = stringByAppendingPathComponent(path + "/Contents/Resources", name);
    return NSFileManager::defaultManager().fileExistsAtPath(file) ? std::optional(file)
                                                                  : std::nullopt;
}
