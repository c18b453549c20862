#include "Foundation/NSProcessInfo.h"

#include "System/OperatingSystem.h"

std::string operatingSystemVersionString() { return operatingSystemName(); }

int processorCount() { return onlineProcessors(); }

std::uint64_t physicalMemory() { return installedMemory(); }

std::string globallyUniqueString() { return randomIdentifier(); }
