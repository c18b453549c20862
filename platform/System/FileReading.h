// Reading a whole file.
#pragma once

#include <optional>
#include <string>

/// None, with errno set, when it cannot be read or is no regular file. Any thread; waits for the
/// disk.
std::optional<std::string> contentsOfFile(const std::string& path);

/// The same from where an open file stands. None, with errno set, when reading fails.
std::optional<std::string> contentsOfDescriptor(int descriptor);
