// Reads what a program writes into its two pipes, both at once.
#pragma once

#include "System/LaunchedProcess.h"
#include "System/PipeReader.h"

#include <functional>

/// One thread's, but for wakeUp. Made before the program starts, so that what waits is there before
/// the program is. Raises std::system_error where the system has no descriptors left.
class ProgramOutput {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// The pipes' reading ends, which stay the caller's; -1 for none. No more than `limit` bytes
    /// and what a pipe holds are kept of each.
    ProgramOutput(int output, int error, std::size_t limit)
        : output(output, waiting, limit), error(error, waiting, limit) {}

    /// Until the pipes have ended and the program has too, or the program alone where `endsAtExit`
    /// says so. `atExit` is called when the program's end is seen: the pipes' ends before it would
    /// wake this thread for nothing, so the caller keeps their writing ends open until then. On the
    /// main thread the main loop is served meanwhile.
    void readUntilEnd(LaunchedProcess& program, const std::function<void()>& atExit,
                      const std::function<bool()>& endsAtExit);
    /// Has readUntilEnd ask `endsAtExit` again. Any thread, while the object lives.
    void wakeUp() { waiting.wakeUp(); }

    bool hasReachedLimit() const { return output.hasReachedLimit() || error.hasReachedLimit(); }
    /// All that was read, with what lies in the pipe now.
    Bytes takeOutput() { return output.takeRest(); }
    Bytes takeError() { return error.takeRest(); }

private:
    DescriptorWait waiting;
    PipeReader output, error;
};
