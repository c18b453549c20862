#include "Foundation/NSFileHandle.h"

#include "Foundation/NSException.h"
#include "Foundation/NSString.h"
#include "System/DescriptorWait.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>

NSFileHandle::NSFileHandle(FileDescriptor descriptor)
    : descriptor(std::make_shared<const FileDescriptor>(std::move(descriptor))) {}

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

std::shared_ptr<const FileDescriptor> NSFileHandle::held() const {
    std::lock_guard lock(mutex);
    return descriptor;
}

int NSFileHandle::fileDescriptor() const {
    std::lock_guard lock(mutex);
    return descriptor ? descriptor->get() : -1;
}

void NSFileHandle::writeData(std::string_view bytes) {
    const auto file = held();
    while (!bytes.empty()) {
        const auto written = file ? write(file->get(), bytes.data(), bytes.size()) : -1;
        if (written < 0) {
            const int problem = file ? errno : EBADF;
            if (problem == EINTR) {
                continue;
            }
            throw NSException(NSFileHandleOperationException, std::strerror(problem));
        }
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// Whether the file can be read; false when the handle was closed meanwhile.
bool NSFileHandle::waitForBytes(const std::shared_ptr<const FileDescriptor>& file) {
    bool ready = false;
    DescriptorWait waiting;
    try {
        waiting.add(file->get(), [&ready] { ready = true; });
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::operation_not_permitted) {
            throw;
        }
        return held() == file; // files and the null device never keep a reader waiting
    }
    struct Registration { // as long as the wait, however that ends
        Registration(NSFileHandle& handle, DescriptorWait& waiting)
            : handle(handle), waiting(waiting) {
            const std::lock_guard lock(handle.mutex);
            handle.readers.insert(&waiting);
        }
        ~Registration() {
            const std::lock_guard lock(handle.mutex);
            handle.readers.erase(&waiting);
        }
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        NSFileHandle& handle;
        DescriptorWait& waiting;
    };
    const Registration registration(*this, waiting);
    waiting.wait([&] { return ready || held() != file; });
    return held() == file;
}

NSData NSFileHandle::availableData() {
    constexpr std::size_t chunk = 65536;
    const auto file = held(); // stays open for this read, whoever closes the handle
    if (!file) {
        return {};
    }
    NSData bytes;
    if (raisingSystemErrors(NSFileHandleOperationException, [&] { return waitForBytes(file); })) {
        bytes.resize(chunk);
        ssize_t count = 0;
        do {
            count = read(file->get(), bytes.data(), bytes.size());
        } while (count < 0 && errno == EINTR);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return bytes;
}

void NSFileHandle::closeFile() {
    std::lock_guard lock(mutex);
    descriptor = nullptr;
    for (auto* reader : readers) {
        reader->wakeUp();
    }
}
