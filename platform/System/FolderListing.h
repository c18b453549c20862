// What a folder holds.
#pragma once

#include <optional>
#include <string>
#include <vector>

/// The names, in no order; none when the folder cannot be read to its end. Throws std::bad_alloc.
/// Any thread; waits for the disk.
std::optional<std::vector<std::string>> namesInFolder(const std::string& path);
