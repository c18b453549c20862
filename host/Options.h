// What the command line asks for.
#pragma once

#include "System/Machine.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Options {
    std::string bundle;
    std::optional<std::string> root;
    AuthorizationMode authorization = AuthorizationMode::system;
    /// A file, or "-" for standard input.
    std::optional<std::string> script;
    /// The X11 window of another program that the pane is shown in.
    std::optional<std::uint32_t> socket;
    /// Qt's own, with their values.
    std::vector<std::string> toolkit;
    bool help = false;
    bool version = false;
};

extern const char* const usageText;
extern const char* const versionText;

/// The arguments exclude the program's name. Raises NSInvalidArgumentException with a line for the
/// user.
Options parseOptions(const std::vector<std::string>& arguments);
