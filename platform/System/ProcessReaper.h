// Takes note of the end of programs that nobody waits for any more, so that they do not stay in the
// process table.
#pragma once

#include "System/FileDescriptor.h"

class ProcessReaper {
public:
    static ProcessReaper& shared();
    ProcessReaper(const ProcessReaper&) = delete;
    ProcessReaper& operator=(const ProcessReaper&) = delete;

    /// Takes over a child by its process descriptor. Any thread; never blocks.
    void adopt(FileDescriptor child);

private:
    ProcessReaper();
    [[noreturn]] void work() const;

    FileDescriptor children; // an epoll set
};
