// Gathers what comes out of a pipe while its reader waits for that and other things.
#pragma once

#include "Foundation/DescriptorWait.h"
#include "Foundation/NSPipe.h"

/// On the thread of the wait it belongs to, and no longer than that wait.
class PipeReader {
public:
    /// Without a pipe there is nothing to read.
    PipeReader(const std::shared_ptr<NSPipe>& pipe, DescriptorWait& waiting);
    ~PipeReader();
    PipeReader(const PipeReader&) = delete;
    PipeReader& operator=(const PipeReader&) = delete;

    /// Whether nobody can write into the pipe any more, and all that was written has been read.
    bool hasEnded() const { return ended; }
    /// Reads until the pipe is empty, or has given as much as it holds at once.
    void readWhatIsThere();
    /// All that was read, with what lies in the pipe now; closes the reading end.
    NSData takeRest();

private:
    std::shared_ptr<NSFileHandle> handle;
    DescriptorWait& waiting;
    NSData bytes;
    bool ended;
};
