#include "Foundation/NSPathUtilities.h"

#include "Foundation/Machine.h"
#include "Foundation/NSException.h"
#include "Foundation/NSLog.h"

#include <array>
#include <optional>
#include <string_view>

namespace {

/// Where a kind's folder lies below the user's home, the machine's root and the system's folder;
/// nowhere for an empty text.
struct Place {
    NSSearchPathDirectory directory;
    std::string_view user;
    std::string_view local;
    std::string_view system;
};

using enum NSSearchPathDirectory;

constexpr std::array places{
    Place{application, "/Applications", "/Applications", ""},
    Place{adminApplication, "/Applications/Utilities", "/Applications/Utilities", ""},
    Place{library, "/Library", "/Library", "/System/Library"},
    Place{documentation, "/Library/Documentation", "/Library/Documentation",
          "/System/Library/Documentation"},
    Place{document, "/Documents", "", ""},
    Place{desktop, "/Desktop", "", ""},
    Place{caches, "/Library/Caches", "/Library/Caches", "/System/Library/Caches"},
    Place{applicationSupport, "/Library/Application Support", "/Library/Application Support", ""},
};

std::string homeOfLookup() {
    return Machine::current().realUserID() == 0 ? "/var/root" : NSHomeDirectory();
}

} // namespace

std::vector<std::string> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                             unsigned domainMask) {
    std::vector<std::string> paths;
    const auto add = [&](SearchDomain domain, const std::string& base, std::string_view place) {
        if ((domainMask & static_cast<unsigned>(domain)) != 0 && !place.empty()) {
            paths.push_back(base + std::string(place));
        }
    };
    for (const Place& place : places) {
        if (place.directory == directory) {
            add(SearchDomain::user, homeOfLookup(), place.user);
            add(SearchDomain::local, Machine::current().root(), place.local);
            add(SearchDomain::system, Machine::current().root(), place.system);
        }
    }
    return paths;
}

std::string NSHomeDirectory() { return Machine::current().homeDirectory(); }

std::string NSHomeDirectoryForUser(const std::string& name) {
    const auto home = name.empty() ? std::nullopt : Machine::current().homeDirectoryForUser(name);
    return home.value_or(NSHomeDirectory());
}

std::string NSUserName() { return Machine::current().userName(); }

std::string NSTemporaryDirectory() {
    try {
        return Machine::current().temporaryDirectory();
    } catch (const NSException& exception) {
        // No file can be made below it, so that whoever writes one hears of the failure there.
        NSLog("%@", exception.reason());
        return "/dev/null";
    }
}
