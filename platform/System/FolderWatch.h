// Tells that something has changed in folders, without anybody looking at them again and again.
#pragma once

#include "System/FileDescriptor.h"

#include <string>

/// A hint, not a record: after it one looks at the folders oneself. Any thread.
class FolderWatch {
public:
    FolderWatch();
    /// Watches for files that come, go or are written in a folder. For one that is not there,
    /// watches for what comes into the nearest one above it; add it again then. Waits for the disk.
    void add(const std::string& folder) const;
    /// Readable once something has changed; -1 where the system has no watch left.
    int fileDescriptor() const { return events.get(); }
    /// Forgets what has changed up to now.
    void drain() const;

private:
    FileDescriptor events;
};
