// The system log: one whole line a call, on standard error and, where one listens, in the journal.
#pragma once

#include "Foundation/NSString.h"

/// Writes a finished line. A line feed inside it is written as it is. Any thread; never raises.
void NSLogLine(const std::string& line);

/// Formats as stringWithFormat does, then writes.
template <class... Arguments>
void NSLog(const std::string& format, const Arguments&... arguments) {
    NSLogLine(stringWithFormat(format, arguments...));
}
