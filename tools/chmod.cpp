// chmod MODE FILE...: the mode in octal digits. Never follows a link, which the machine's own does:
// this may run as the superuser on what somebody else has prepared.

#include "PlainFile.h"

#include <cstdlib>
#include <iostream>
#include <string_view>

namespace {

bool isMode(std::string_view text) {
    return !text.empty() && text.size() <= 4 && text.find_first_not_of("01234567") == text.npos;
}

void setMode(const std::string& path, mode_t mode) {
    const auto handle = handleWithoutLinks(path);
    // The kernel changes modes by open file or by name, and this is a name for the very handle.
    const auto name = "/proc/self/fd/" + std::to_string(handle.get());
    if (chmod(name.c_str(), mode) != 0) {
        failWith(path, errno);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3 || !isMode(argv[1])) {
        std::cerr << "usage: chmod MODE FILE...   with the mode in octal digits\n";
        return EXIT_FAILURE;
    }
    int status = EXIT_SUCCESS;
    for (int index = 2; index < argc; ++index) {
        try {
            setMode(argv[index], static_cast<mode_t>(std::strtoul(argv[1], nullptr, 8)));
        } catch (const std::exception& failure) {
            std::cerr << "chmod: " << failure.what() << '\n';
            status = EXIT_FAILURE;
        }
    }
    return status;
}
