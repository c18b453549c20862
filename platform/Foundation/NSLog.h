// The system log: one whole line a call, on standard error and, where one listens, in the journal.
#pragma once

#include "Foundation/NSString.h"
#include "System/Machine.h"

/// Formats as stringWithFormat does, then writes. A line feed inside the line is written as it is.
/// Any thread; never raises.
template <class... Arguments>
void NSLog(const std::string& format, const Arguments&... arguments) {
    Machine::current().console(stringWithFormat(format, arguments...));
}
