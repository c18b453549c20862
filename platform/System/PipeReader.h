// Gathers what comes out of a pipe while its reader waits for that and other things.
#pragma once

#include "System/DescriptorWait.h"

#include <cstdint>

/// On the thread of the wait it belongs to, and no longer than that wait.
class PipeReader {
public:
    /// The pipe's reading end stays the caller's; -1 when there is nothing to read. No more than
    /// `limit` bytes and what a pipe holds are kept.
    PipeReader(int pipe, DescriptorWait& waiting, std::size_t limit);
    ~PipeReader() { stop(); }
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    /// Whether nobody can write into the pipe any more and all that was written has been read, or
    /// the limit has been reached.
    bool hasEnded() const { return ended; }
    bool hasReachedLimit() const { return exceeded; }
    /// Reads until the pipe is empty, or has given as much as it holds at once.
    void readWhatIsThere();
    /// All that was read, with what lies in the pipe now.
    std::vector<std::uint8_t> takeRest();

private:
    void stop();

    const int pipe;
    DescriptorWait& waiting;
    const std::size_t limit;
    std::vector<std::uint8_t> bytes;
    bool ended;
    bool exceeded = false;
};
