// Replacing a file's content as one step.
#pragma once

#include <optional>
#include <string>
#include <system_error>

/// When new content goes to the disk: at once, or in the system's own time, for what a power cut
/// may take.
enum class Flush { now, later };

/// A temporary file beside the target is written, flushed to the disk, given the old file's mode
/// and renamed over it. A symbolic link is followed and its target replaced. On failure the old
/// file stands, no temporary file stays, and the result says what could not be done and why; none
/// means success.
/// Any thread; waits for the disk.
std::optional<std::system_error>
writeFileAtomically(const std::string& bytes, const std::string& path, Flush flush = Flush::now);
