#include "host/ProgramLog.h"

#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Shared/QVLogFiles.h"
#include "System/FileDescriptor.h"

#include <fcntl.h>
#include <sys/stat.h>

void makeLogFile() {
    const auto folder = logFolder();
    if (!isLoggingSwitchedOff() && NSFileManager::defaultManager().createDirectoryAtPath(folder)) {
        const auto path =
            stringByAppendingPathComponent(folder, logFileName(nameOfLoggedProgram(), 1));
        const FileDescriptor made(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                                       S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH));
    }
}
