// Paths as text, and where the standard folders lie.
#pragma once

#include <string>
#include <vector>

/// The platform's directory kinds, with its values.
enum class NSSearchPathDirectory : unsigned {
    application = 1,
    adminApplication = 4,
    library = 5,
    documentation = 8,
    document = 9,
    desktop = 12,
    caches = 13,
    applicationSupport = 14,
};

/// Whose folders a lookup is about. The values are the platform's domain masks.
enum class SearchDomain : unsigned { user = 1, local = 2, system = 8 };

/// The folders of a kind in the domains of a mask, as absolute paths, user first; empty when there
/// is none. For the superuser the user's home reads "/var/root", as the platform has it.
std::vector<std::string> NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory directory,
                                                             unsigned domainMask);
std::string NSHomeDirectory();
/// The home of a named user; of the process's own for an empty or an unknown name.
std::string NSHomeDirectoryForUser(const std::string& name);
std::string NSUserName();
/// The user's own temporary folder, without a trailing separator. Where it cannot be had safely, a
/// path below which nothing can be made, and the console hears why.
std::string NSTemporaryDirectory();

/// Joined with exactly one separator.
std::string stringByAppendingPathComponent(const std::string& path, const std::string& component);
std::string lastPathComponent(const std::string& path);
/// "/" for what lies in the root, "" for a bare name.
std::string stringByDeletingLastPathComponent(const std::string& path);
/// The text after the last component's last dot; empty for none, and for a name that only starts
/// with a dot.
std::string pathExtension(const std::string& path);
std::string stringByDeletingPathExtension(const std::string& path);
std::vector<std::string> pathComponents(const std::string& path);
