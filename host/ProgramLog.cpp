#include "host/ProgramLog.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "System/FileDescriptor.h"
#include "System/Machine.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace {

std::string libraryFolder(SearchDomain domain) {
    return NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::library,
                                               static_cast<unsigned>(domain))
        .front();
}

bool isSwitchedOff() {
    const auto settings = dictionaryWithContentsOfFile(
        NSHomeDirectory() + "/Library/Preferences/com.quorvane.global.plist");
    const auto* value = settings ? settings->objectForKey("disable-logging") : nullptr;
    return value && (value->string() ? *value->string() == "1" : value->number() == 1.0);
}

} // namespace

std::string logFolder() {
    const bool superuser = Machine::current().realUserID() == 0;
    return libraryFolder(superuser ? SearchDomain::local : SearchDomain::user) + "/Logs/Quorvane";
}

std::string logFileName(int generation) {
    const auto program =
        stringByDeletingPathExtension(lastPathComponent(NSBundle::mainExecutablePath()));
    return program + "." + std::to_string(generation) + ".log";
}

void makeLogFile() {
    const auto folder = logFolder();
    if (!isSwitchedOff() && NSFileManager::defaultManager().createDirectoryAtPath(folder)) {
        const auto path = stringByAppendingPathComponent(folder, logFileName(1));
        const FileDescriptor made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH));
    }
}
