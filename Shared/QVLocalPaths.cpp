#include "Shared/QVLocalPaths.h"

#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSProcessInfo.h"
#include "Foundation/NSString.h"
#include "System/Machine.h"
#include "SystemConfiguration/SCDynamicStore.h"

#include <algorithm>
#include <array>

namespace {

using Path = QVLocalPaths::Path;

constexpr auto userDomain = static_cast<unsigned>(SearchDomain::user);
constexpr auto localDomain = static_cast<unsigned>(SearchDomain::local);
constexpr auto systemDomain = static_cast<unsigned>(SearchDomain::system);

bool isSuperuser() { return Machine::current().realUserID() == 0; }

unsigned domain(bool user) { return user ? userDomain : localDomain; }

Path appended(const Path& path, const std::string& component) {
    return path ? Path(stringByAppendingPathComponent(*path, component)) : std::nullopt;
}

void removePrefix(std::string& path, const std::string& prefix) {
    if (path.starts_with(prefix)) {
        path.erase(0, prefix.size());
    }
}

bool isProtected(const std::string& path) {
    using Lookup = Path (*)(bool);
    constexpr std::array<Lookup, 7> lookups{
        QVLocalPaths::applicationDirectory, QVLocalPaths::adminApplicationDirectory,
        QVLocalPaths::documentDirectory,    QVLocalPaths::libraryDirectory,
        QVLocalPaths::prefsDirectory,       QVLocalPaths::cacheDirectory,
        QVLocalPaths::appSupportDirectory};
    return std::any_of(
               lookups.begin(), lookups.end(),
               [&](Lookup lookup) { return lookup(true) == path || lookup(false) == path; }) ||
           QVLocalPaths::desktopDirectory() == path || QVLocalPaths::userDirectory() == path ||
           QVLocalPaths::systemLibraryDirectory() == path ||
           QVLocalPaths::localDocumentationDirectory() == path || path == "/Users/Shared" ||
           path == "/Volumes";
}

} // namespace

Path QVLocalPaths::pathForDirectory(NSSearchPathDirectory directory, unsigned domainMask) {
    const auto paths = NSSearchPathForDirectoriesInDomains(directory, domainMask);
    if (paths.empty()) {
        return std::nullopt;
    }
    std::string path = paths.front();
    if (isSuperuser() && domainMask == userDomain) {
        removePrefix(path, "/var/root");
        removePrefix(path, "/private/var/root");
        return stringByAppendingPathComponent(userDirectory(), path);
    }
    return path;
}

Path QVLocalPaths::applicationDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::application, domain(user));
}

Path QVLocalPaths::adminApplicationDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::adminApplication, domain(user));
}

Path QVLocalPaths::documentDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::document, domain(user));
}

Path QVLocalPaths::libraryDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::library, domain(user));
}

Path QVLocalPaths::prefsDirectory(bool user) {
    return appended(libraryDirectory(user), "Preferences");
}

Path QVLocalPaths::cacheDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::caches, domain(user));
}

Path QVLocalPaths::appSupportDirectory(bool user) {
    return pathForDirectory(NSSearchPathDirectory::applicationSupport, domain(user));
}

Path QVLocalPaths::logDirectory(bool user) { return appended(libraryDirectory(user), "Logs"); }

Path QVLocalPaths::desktopDirectory() {
    return pathForDirectory(NSSearchPathDirectory::desktop, userDomain);
}

Path QVLocalPaths::systemLibraryDirectory() {
    return pathForDirectory(NSSearchPathDirectory::library, systemDomain);
}

Path QVLocalPaths::localDocumentationDirectory() {
    return pathForDirectory(NSSearchPathDirectory::documentation, localDomain);
}

std::string QVLocalPaths::movieDirectory() {
    return stringByAppendingPathComponent(userDirectory(), "Movies");
}

std::string QVLocalPaths::trashDirectory() {
    return stringByAppendingPathComponent(userDirectory(), ".Trash");
}

std::string QVLocalPaths::userDirectory() {
    return isSuperuser() ? NSHomeDirectoryForUser(currentConsoleUser().value_or(""))
                         : NSHomeDirectory();
}

std::optional<std::string> QVLocalPaths::username() {
    return isSuperuser() ? currentConsoleUser() : std::optional(NSUserName());
}

std::optional<std::string> QVLocalPaths::currentConsoleUser() {
    const auto name = SCDynamicStoreCopyConsoleUser();
    return name == "loginwindow" ? std::nullopt : name;
}

std::string QVLocalPaths::tempDirectory() { return NSTemporaryDirectory(); }

std::string QVLocalPaths::uuid() { return globallyUniqueString(); }

std::string QVLocalPaths::tempFile() {
    return stringByAppendingPathComponent(tempDirectory(), uuid());
}

bool QVLocalPaths::isPathSystemDirectory(const std::string& path, bool exactMatch) {
    if (path == "/") {
        return true;
    }
    if (lengthInCharacters(path) < 3) {
        return false;
    }
    const std::string folder = path.ends_with('/') ? path.substr(0, path.size() - 1) : path;
    if (isProtected(folder)) {
        return true;
    }
    constexpr std::array prefixes{"/usr", "/var", "/private/var", "/System"};
    return !exactMatch && std::any_of(prefixes.begin(), prefixes.end(), [&](const char* prefix) {
        return folder.starts_with(prefix);
    });
}

bool QVLocalPaths::isPathOnTimeMachineVolume(const std::string& path) {
    const auto components = pathComponents(path);
    return path.starts_with("/Volumes/") &&
           std::find(components.begin(), components.end(), "Backups.backupdb") != components.end();
}
