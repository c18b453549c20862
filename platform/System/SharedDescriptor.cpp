#include "System/SharedDescriptor.h"

#include "System/DescriptorWait.h"

SharedDescriptor::SharedDescriptor(FileDescriptor file)
    : file(std::make_shared<const FileDescriptor>(std::move(file))) {}

std::shared_ptr<const FileDescriptor> SharedDescriptor::held() const {
    const std::lock_guard lock(mutex);
    return file;
}

/// Whether the file can be read; false when it was closed meanwhile.
bool SharedDescriptor::waitForBytes(const std::shared_ptr<const FileDescriptor>& open) {
    bool ready = false;
    DescriptorWait waiting;
    try {
        waiting.add(open->get(), [&ready] { ready = true; });
    } catch (const std::system_error& error) {
        if (error.code() != std::errc::operation_not_permitted) {
            throw;
        }
        return held() == open; // files and the null device never keep a reader waiting
    }
    struct Registration { // as long as the wait, however that ends
        Registration(SharedDescriptor& shared, DescriptorWait& waiting)
            : shared(shared), waiting(waiting) {
            const std::lock_guard lock(shared.mutex);
            shared.readers.insert(&waiting);
        }
        ~Registration() {
            const std::lock_guard lock(shared.mutex);
            shared.readers.erase(&waiting);
        }
        Registration(const Registration&) = delete;
        Registration& operator=(const Registration&) = delete;
        SharedDescriptor& shared;
        DescriptorWait& waiting;
    };
    const Registration registration(*this, waiting);
    waiting.wait([&] { return ready || held() != open; });
    return held() == open;
}

std::vector<std::uint8_t> SharedDescriptor::readWhenThere() {
    constexpr std::size_t chunk = 65536;
    std::vector<std::uint8_t> bytes;
    const auto open = held(); // for this read, whoever closes it
    if (open && waitForBytes(open)) {
        bytes.resize(chunk);
        ssize_t count = 0;
        do {
            count = read(open->get(), bytes.data(), bytes.size());
        } while (count < 0 && errno == EINTR);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return bytes;
}

void SharedDescriptor::close() {
    const std::lock_guard lock(mutex);
    file = nullptr;
    for (auto* reader : readers) {
        reader->wakeUp();
    }
}
