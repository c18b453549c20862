#include "Foundation/NSPathUtilities.h"

#include "Foundation/NSLog.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <system_error>

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

std::string withoutTrailingSeparators(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

/// Where the extension's dot is in a last component, or npos.
std::size_t extensionDot(const std::string& component) {
    const auto dot = component.rfind('.');
    return dot == std::string::npos || component.find_first_not_of('.') > dot ||
                   dot + 1 == component.size()
               ? std::string::npos
               : dot;
}

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
    } catch (const std::system_error& error) {
        // No file can be made below it, so that whoever writes one hears of the failure there.
        NSLog("%@", error.what());
        return "/dev/null";
    }
}

std::string stringByAppendingPathComponent(const std::string& path, const std::string& component) {
    const auto start = component.find_first_not_of('/');
    const std::string rest = start == std::string::npos ? "" : component.substr(start);
    const std::string base = withoutTrailingSeparators(path);
    if (base.empty() || rest.empty()) {
        return base.empty() ? component : base;
    }
    return base == "/" ? base + rest : base + "/" + rest;
}

std::string lastPathComponent(const std::string& path) {
    const auto whole = withoutTrailingSeparators(path);
    const auto separator = whole.rfind('/');
    return separator == std::string::npos || whole == "/" ? whole : whole.substr(separator + 1);
}

std::string stringByDeletingLastPathComponent(const std::string& path) {
    const auto whole = withoutTrailingSeparators(path);
    const auto separator = whole.rfind('/');
    if (separator == std::string::npos) {
        return "";
    }
    return separator == 0 ? "/" : withoutTrailingSeparators(whole.substr(0, separator));
}

std::string pathExtension(const std::string& path) {
    const auto component = lastPathComponent(path);
    const auto dot = extensionDot(component);
    return dot == std::string::npos ? "" : component.substr(dot + 1);
}

std::string stringByDeletingPathExtension(const std::string& path) {
    const auto whole = withoutTrailingSeparators(path);
    const auto component = lastPathComponent(whole);
    const auto dot = extensionDot(component);
    return dot == std::string::npos ? whole
                                    : whole.substr(0, whole.size() - (component.size() - dot));
}

std::vector<std::string> pathComponents(const std::string& path) {
    std::vector<std::string> components;
    if (!path.empty() && path.front() == '/') {
        components.emplace_back("/");
    }
    for (std::size_t position = 0; position < path.size();) {
        const auto end = std::min(path.find('/', position), path.size());
        if (end > position) {
            components.push_back(path.substr(position, end - position));
        }
        position = end + 1;
    }
    return components;
}
