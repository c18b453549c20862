// The path operations of NSString.h.
#include "Foundation/NSString.h"

namespace {

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

} // namespace

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
