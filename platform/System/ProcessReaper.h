// Takes note of the end of programs that nobody waits for any more, so that they do not stay in the
// process table.
#pragma once

#include "System/FileDescriptor.h"

#include <mutex>
#include <sys/types.h>
#include <vector>

class ProcessReaper {
public:
    static ProcessReaper& shared();
    ProcessReaper(const ProcessReaper&) = delete;
    ProcessReaper& operator=(const ProcessReaper&) = delete;

    /// Takes over a child with its process descriptor. Any thread; never blocks. However many there
    /// are, only a few descriptors stay open: the end of others may be taken note of a little
    /// later.
    void adopt(pid_t process, FileDescriptor child);

private:
    ProcessReaper();
    void begin();
    [[noreturn]] void work();
    bool watch(FileDescriptor& child);
    void takeNoteOfEnd(int child);
    void watchUnwatched();

    FileDescriptor children; // an epoll set
    std::mutex mutex;        // guards the following
    std::size_t watched = 0;
    std::vector<pid_t> unwatched;
};
