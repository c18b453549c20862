// A pipe between this process and a tool.
#pragma once

#include "Foundation/NSFileHandle.h"

class NSPipe {
public:
    /// Raises NSInternalInconsistencyException when the system has no descriptors left.
    NSPipe();

    const std::shared_ptr<NSFileHandle>& fileHandleForReading() const { return reading; }
    const std::shared_ptr<NSFileHandle>& fileHandleForWriting() const { return writing; }

private:
    std::shared_ptr<NSFileHandle> reading, writing;
};
