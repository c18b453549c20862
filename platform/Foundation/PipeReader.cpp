#include "Foundation/PipeReader.h"

#include <array>
#include <cerrno>
#include <fcntl.h>

PipeReader::PipeReader(const std::shared_ptr<NSPipe>& pipe, DescriptorWait& waiting)
    : handle(pipe ? pipe->fileHandleForReading() : nullptr), waiting(waiting),
      ended(!handle || handle->fileDescriptor() < 0) {
    if (!ended) {
        const int descriptor = handle->fileDescriptor();
        fcntl(descriptor, F_SETFL, O_NONBLOCK);
        waiting.add(descriptor, [this] { readWhatIsThere(); });
    }
}

PipeReader::~PipeReader() {
    if (!ended) {
        waiting.remove(handle->fileDescriptor());
    }
}

void PipeReader::readWhatIsThere() {
    // No more at once than a pipe holds, so that what else is waited for has its turn.
    static thread_local std::array<std::uint8_t, 65536> chunk;
    constexpr int most = 16;
    for (int count = 0; count < most && !ended; ++count) {
        const auto length = read(handle->fileDescriptor(), chunk.data(), chunk.size());
        if (length > 0) {
            bytes.insert(bytes.end(), chunk.data(), chunk.data() + length);
        } else if (length < 0 && errno == EAGAIN) {
            return;
        } else if (length == 0 || errno != EINTR) {
            waiting.remove(handle->fileDescriptor());
            ended = true;
        }
    }
}

NSData PipeReader::takeRest() {
    if (handle) {
        readWhatIsThere();
        if (!ended) {
            waiting.remove(handle->fileDescriptor());
            ended = true;
        }
        handle->closeFile();
    }
    return std::move(bytes);
}
