#include "System/OperatingSystem.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <optional>
#include <sys/random.h>
#include <sys/utsname.h>
#include <unistd.h>

namespace {

/// The value of a line NAME=value or NAME="value".
std::optional<std::string> valueInFile(const char* path, const std::string& name) {
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (!line.starts_with(name + "=")) {
            continue;
        }
        auto value = line.substr(name.size() + 1);
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') &&
            value.back() == value.front()) {
            value = value.substr(1, value.size() - 2);
        }
        return value;
    }
    return std::nullopt;
}

} // namespace

std::string operatingSystemName() {
    for (const char* path : {"/etc/os-release", "/usr/lib/os-release"}) {
        if (auto name = valueInFile(path, "PRETTY_NAME"); name && !name->empty()) {
            return *name;
        }
    }
    utsname names{};
    uname(&names);
    return std::string(names.sysname) + " " + names.release;
}

int onlineProcessors() { return std::max(1, static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN))); }

std::uint64_t installedMemory() {
    return static_cast<std::uint64_t>(sysconf(_SC_PHYS_PAGES)) *
           static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

std::string randomIdentifier() {
    std::array<unsigned char, 16> random{};
    while (getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size())) {
    }
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
