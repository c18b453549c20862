// An open file, or one end of a pipe.
#pragma once

#include "Foundation/NSPropertyList.h"
#include "System/SharedDescriptor.h"

#include <memory>
#include <string>
#include <string_view>

/// Every operation may be called from any thread. The file is closed with the handle at the latest.
class NSFileHandle {
public:
    /// Takes the descriptor over.
    explicit NSFileHandle(FileDescriptor descriptor) : file(std::move(descriptor)) {}
    NSFileHandle(const NSFileHandle&) = delete;
    NSFileHandle& operator=(const NSFileHandle&) = delete;

    /// Opens an existing file so that every write goes to its end, wherever that is by then. None
    /// when there is no such file or it cannot be written.
    static std::shared_ptr<NSFileHandle> fileHandleForAppendingAtPath(const std::string& path);
    /// Swallows what is written, and is empty to a reader. One for all; not to be closed.
    static std::shared_ptr<NSFileHandle> fileHandleWithNullDevice();

    /// -1 once closed.
    int fileDescriptor() const;

    /// Writes all bytes, in one system call where the system takes them at once. Raises
    /// NSFileHandleOperationException on failure.
    void writeData(std::string_view bytes);
    /// Blocks until some bytes are there and returns them; empty at the end of the file, after a
    /// failed read, and when another thread closes the handle meanwhile. On the main thread it
    /// serves the main run loop while it waits. Raises NSFileHandleOperationException when the
    /// system has nothing left to wait with.
    NSData availableData();
    /// Harmless on a closed handle.
    void closeFile();

private:
    SharedDescriptor file;
};
