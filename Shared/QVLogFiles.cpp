#include "Shared/QVLogFiles.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "Shared/QVLocalPaths.h"
#include "System/Machine.h"

std::string logFolder() {
    const bool superuser = Machine::current().realUserID() == 0;
    return QVLocalPaths::libraryDirectory(!superuser).value_or("") + "/Logs/Quorvane";
}

std::string logFileName(const std::string& program, int generation) {
    return stringWithFormat("%@.%i.log", program, generation);
}

std::string nameOfLoggedProgram() {
    return stringByDeletingPathExtension(lastPathComponent(NSBundle::mainExecutablePath()));
}

bool isLoggingSwitchedOff() {
    const auto settings = dictionaryWithContentsOfFile(
        QVLocalPaths::prefsDirectory(true).value_or("") + "/com.quorvane.global.plist");
    const auto* value = settings ? settings->objectForKey("disable-logging") : nullptr;
    if (value == nullptr) {
        return false;
    }
    return value->string() != nullptr ? *value->string() == "1" : value->number() == 1.0;
}
