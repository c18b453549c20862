#include "Foundation/NSLog.h"

#include "System/Machine.h"

void NSLogLine(const std::string& line) { Machine::current().console(line); }
