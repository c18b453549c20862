#include "Foundation/NSProcessInfo.h"

#include "System/OperatingSystem.h"

#include <cstdio>

std::string operatingSystemVersionString() { return operatingSystemName(); }

int processorCount() { return onlineProcessors(); }

std::uint64_t physicalMemory() { return installedMemory(); }

std::string globallyUniqueString() {
    auto random = randomBytes();
    // The version and variant bits of a random UUID (RFC 4122).
    random[6] = static_cast<unsigned char>(0x40 | (random[6] & 0x0F));
    random[8] = static_cast<unsigned char>(0x80 | (random[8] & 0x3F));
    std::string text;
    for (std::size_t index = 0; index < random.size(); ++index) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", static_cast<unsigned>(random[index]));
        text += index == 4 || index == 6 || index == 8 || index == 10 ? "-" : "";
        text += digits.data();
    }
    return text;
}
