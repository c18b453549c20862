#include "Foundation/NSLocalizedString.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"

#include <cstdlib>

namespace {

/// "de" of "de_AT.UTF-8"; empty for the C locale.
std::string language() {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            const std::string locale = value;
            return locale.substr(0, locale.find_first_not_of("abcdefghijklmnopqrstuvwxyz"));
        }
    }
    return "";
}

NSDictionary words() {
    const auto folder = stringByDeletingLastPathComponent(NSBundle::mainExecutablePath());
    return dictionaryWithContentsOfFile(folder + "/" + language() + ".lproj/Localizable.strings")
        .value_or(NSDictionary());
}

} // namespace

std::string NSLocalizedString(const std::string& text) {
    static const auto table = words();
    const auto translation = table.stringForKey(text).value_or("");
    return translation.empty() ? text : translation;
}
