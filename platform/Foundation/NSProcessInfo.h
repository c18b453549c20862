// Facts about the machine.
#pragma once

#include <cstdint>
#include <string>

/// The distribution's name and version, as it calls itself.
std::string operatingSystemVersionString();
int processorCount();
/// In bytes.
std::uint64_t physicalMemory();
/// A text that is unique across machines and time.
std::string globallyUniqueString();
