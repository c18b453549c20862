// What to start, and how it is connected.
#pragma once

#include <string>
#include <vector>

/// An argument list excludes the program's own name. Descriptors of -1 mean the null device for
/// output and inheritance for input.
struct LaunchRequest {
    std::string launchPath;
    std::vector<std::string> arguments;
    int standardInput = -1;
    int standardOutput = -1;
    int standardError = -1;
    std::string workingDirectory;
};
