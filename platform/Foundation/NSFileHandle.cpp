#include "Foundation/NSFileHandle.h"

#include "Foundation/NSException.h"
#include "System/FileWriting.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

std::shared_ptr<NSFileHandle> NSFileHandle::fileHandleForAppendingAtPath(const std::string& path) {
    // A named pipe in the file's place that nobody reads is an error, not a wait for its reader.
    FileDescriptor file(open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC | O_NONBLOCK));
    return file ? std::make_shared<NSFileHandle>(std::move(file)) : nullptr;
}

std::shared_ptr<NSFileHandle> NSFileHandle::fileHandleWithNullDevice() {
    static const auto handle =
        std::make_shared<NSFileHandle>(FileDescriptor(open("/dev/null", O_RDWR | O_CLOEXEC)));
    return handle;
}

int NSFileHandle::fileDescriptor() const {
    const auto held = file.held();
    return held ? held->get() : -1;
}

void NSFileHandle::writeData(std::string_view bytes) {
    const auto held = file.held(); // stays open for this write, whoever closes the handle
    if (!writeAll(held ? held->get() : -1, bytes)) {
        throw NSException(NSFileHandleOperationException, std::strerror(errno));
    }
}

NSData NSFileHandle::availableData() {
    return raisingSystemErrors(NSFileHandleOperationException,
                               [this] { return file.readWhenThere(); });
}

void NSFileHandle::closeFile() { file.close(); }
