// Writing to an open file.
#pragma once

#include <string_view>

/// Writes all bytes, in one system call where the system takes them at once. False, with errno set,
/// when it cannot. Any thread; waits for the file.
bool writeAll(int descriptor, std::string_view bytes);
