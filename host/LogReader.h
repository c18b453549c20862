// Reads the end of a log and then what is added to it, over the change from one file to the next.
#pragma once

#include "System/FileDescriptor.h"

#include <optional>
#include <string>
#include <sys/types.h>

/// One thread at a time; waits for the disk.
class LogReader {
public:
    struct News {
        bool startsAnew = false; // what was read before is no longer all that comes before it
        std::string text;        // whole lines
    };

    /// All generations of the log in a folder together; no more than this many bytes of their end
    /// are read at once.
    static constexpr off_t mostBytes = 512 * 1024;

    explicit LogReader(std::string folder) : folder(std::move(folder)) {}

    /// The first time the end of all that there is, afterwards what has been added.
    News read();

private:
    News readAll();
    std::string readRest();
    bool currentIs(int generation) const;
    std::string pathOf(int generation) const;
    FileDescriptor openGeneration(int generation) const;

    std::string folder;
    FileDescriptor current;
    off_t place = 0; // in the current file, up to which it is read
};
