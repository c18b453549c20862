// Reads a file, a pipe or a terminal line by line, without ever blocking the event loop.
#pragma once

#include "System/FileDescriptor.h"

#include <functional>
#include <memory>
#include <optional>
#include <QSocketNotifier>
#include <string>

class LineReader {
public:
    /// "-" is standard input. Raises NSInvalidArgumentException for a file that cannot be opened.
    explicit LineReader(const std::string& path);

    /// In bytes.
    static constexpr std::size_t longestLine = 65536;

    /// Calls `receive` once, later, with the next line, or with none at the end. What is longer
    /// than a line may be is handed over as far as it has been read.
    void readLine(std::function<void(std::optional<std::string>)> receive);
    /// The error because of which nothing more can be read; 0 for none.
    int problem() const { return readProblem; }

private:
    void readMore();
    bool deliver();

    FileDescriptor descriptor;
    std::unique_ptr<QSocketNotifier> notifier;
    std::string buffer;
    std::size_t searched = 0; // of the buffer, for the line's end
    bool ended = false;
    int readProblem = 0;
    std::function<void(std::optional<std::string>)> receiver;
};
