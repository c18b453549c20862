// What the system says of itself and of the machine below it. Any thread.
#pragma once

#include <cstdint>
#include <string>

/// The distribution's name and version as it calls itself (os-release), else the kernel's.
std::string operatingSystemName();
/// At least 1.
int onlineProcessors();
/// In bytes.
std::uint64_t installedMemory();
/// A random UUID in capitals, from the kernel's generator.
std::string randomIdentifier();
