#include "Foundation/NSLog.h"

#include "Foundation/Machine.h"

void NSLogLine(const std::string& line) { Machine::current().console(line); }
