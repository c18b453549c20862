#include "JobName.h"

#include "Failure.h"
#include "Foundation/NSString.h"

#include <charconv>
#include <cstdint>
#include <cstdlib>
#include <filesystem>

namespace {

/// Of a file's name and of a unit's (255), with room for what tells units apart.
constexpr std::size_t longestName = 210;
constexpr int hexadecimal = 16;

} // namespace

std::string jobNamePrefix() {
    const char* root = std::getenv("TESSALINE_ROOT");
    if (root == nullptr || *root == '\0') {
        return "tessaline.job:";
    }
    std::uint64_t hash = 0xcbf29ce484222325; // FNV-1a
    std::error_code unreadable;
    auto path = std::filesystem::weakly_canonical(root, unreadable);
    for (const unsigned char byte : unreadable ? std::string(root) : path.string()) {
        hash = (hash ^ byte) * 0x100000001b3;
    }
    return stringWithFormat("tessaline.sandbox.%016lx:", static_cast<std::int64_t>(hash));
}

std::string jobNameForLabel(const std::string& label) {
    auto name = jobNamePrefix();
    for (const unsigned char byte : label) {
        const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                           (byte >= '0' && byte <= '9') || byte == '.' || byte == '_';
        name += plain ? std::string(1, static_cast<char>(byte)) : stringWithFormat("\\x%02x", byte);
    }
    if (name.size() > longestName) {
        fail("The label \"%@\" is too long", label);
    }
    return name;
}

std::optional<std::string> labelForJobName(const std::string& name) {
    const auto prefix = jobNamePrefix();
    if (!name.starts_with(prefix)) {
        return std::nullopt;
    }
    std::string label;
    for (std::size_t index = prefix.size(); index < name.size(); ++index) {
        if (name[index] != '\\') {
            label += name[index];
            continue;
        }
        unsigned byte = 0;
        const char* digits = name.data() + index + 2;
        if (index + 4 > name.size() ||
            std::from_chars(digits, digits + 2, byte, hexadecimal).ptr != digits + 2) {
            return std::nullopt;
        }
        label += static_cast<char>(byte);
        index += 3;
    }
    return label;
}
