// The list of the login user's processes, one after the other. A walk sees the processes that ran
// when it began; each thread has a walk of its own.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <cstdint>
#include <optional>

/// Names a process in a walk. A new one stands before the first process.
struct ProcessSerialNumber {
    std::uint32_t highLongOfPSN = 0;
    std::uint32_t lowLongOfPSN = 0;
};

using OSErr = std::int16_t;
inline constexpr OSErr noErr = 0;
/// There is no such process, or none after it.
inline constexpr OSErr procNotFound = -600;

/// Moves on to the next process. Returns procNotFound at the end of the list, and for a process
/// that the calling thread's walk has not come to; the number is then as it was.
OSErr GetNextProcess(ProcessSerialNumber* process);

/// What is known of a process of the calling thread's walk: "CFBundleExecutable", the path of its
/// executable. None for a process that the walk has not come to.
std::optional<NSDictionary> ProcessInformationCopyDictionary(const ProcessSerialNumber* process,
                                                             std::uint32_t infoToReturn);
