// An open file that one thread may close while others use it.
#pragma once

#include "System/FileDescriptor.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

class DescriptorWait;

/// Every operation may be called from any thread. The file is closed with this object at the
/// latest.
class SharedDescriptor {
public:
    explicit SharedDescriptor(FileDescriptor file);
    SharedDescriptor(const SharedDescriptor&) = delete;
    SharedDescriptor& operator=(const SharedDescriptor&) = delete;

    /// Stays open for as long as it is held, whoever closes this; null once closed.
    std::shared_ptr<const FileDescriptor> held() const;
    /// Blocks until some bytes are there and returns them; empty at the end of the file, after a
    /// failed read, and when it is closed meanwhile. On the main thread it serves the main loop
    /// while it waits. Raises std::system_error when the system has nothing left to wait with.
    std::vector<std::uint8_t> readWhenThere();
    /// Harmless when closed.
    void close();

private:
    bool waitForBytes(const std::shared_ptr<const FileDescriptor>& open);

    mutable std::mutex mutex; // guards what follows
    std::shared_ptr<const FileDescriptor> file;
    std::set<DescriptorWait*> readers;
};
