#include "System/PipeReader.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <system_error>

PipeReader::PipeReader(int pipe, DescriptorWait& waiting, std::size_t limit)
    : pipe(pipe), waiting(waiting), limit(limit), ended(pipe < 0) {
    if (!ended) {
        if (fcntl(pipe, F_SETFL, O_NONBLOCK) != 0) {
            throw std::system_error(errno, std::generic_category(), "Cannot read from a pipe");
        }
        waiting.add(pipe, [this] { readWhatIsThere(); });
    }
}

void PipeReader::stop() {
    if (!ended) {
        waiting.remove(pipe);
        ended = true;
    }
}

void PipeReader::readWhatIsThere() {
    // No more at once than a pipe holds, so that what else is waited for has its turn.
    static thread_local std::array<std::uint8_t, 65536> chunk;
    constexpr int most = 16;
    for (int count = 0; count < most && !ended; ++count) {
        const auto length = read(pipe, chunk.data(), chunk.size());
        if (length > 0) {
            bytes.insert(bytes.end(), chunk.data(), chunk.data() + length);
            if (bytes.size() > limit) {
                exceeded = true;
                stop();
            }
        } else if (length < 0 && errno == EAGAIN) {
            return;
        } else if (length == 0 || errno != EINTR) {
            stop();
        }
    }
}

std::vector<std::uint8_t> PipeReader::takeRest() {
    readWhatIsThere();
    stop();
    return std::move(bytes);
}
