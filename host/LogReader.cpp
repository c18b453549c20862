#include "host/LogReader.h"

#include "Shared/QVLogFiles.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Of a regular file; 0 for anything else.
off_t sizeOf(const FileDescriptor& file) {
    struct stat status {};
    return file && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

std::string contentOf(const FileDescriptor& file, off_t from, off_t to) {
    std::string content(static_cast<std::size_t>(std::max<off_t>(to - from, 0)), '\0');
    const auto count = pread(file.get(), content.data(), content.size(), from);
    content.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    return content;
}

/// The end of a file's first `size` bytes, without the rest of a line that began before it.
std::string endOf(const FileDescriptor& file, off_t size, off_t mostBytes) {
    auto content = contentOf(file, std::max<off_t>(size - mostBytes, 0), size);
    return size > mostBytes ? content.substr(content.find('\n') + 1) : content;
}

} // namespace

LogReader::News LogReader::read() {
    if (!current || sizeOf(current) < place || sizeOf(current) - place > mostBytes) {
        return readAll();
    }
    News news{.text = readRest()};
    if (currentIs(1)) {
        return news;
    }
    // The change to a new file may have come after that look at the old one.
    news.text += readRest();
    if (!currentIs(2)) {
        return readAll();
    }
    current = openGeneration(1);
    place = 0;
    if (sizeOf(current) > mostBytes) {
        return readAll();
    }
    news.text += readRest();
    return news;
}

LogReader::News LogReader::readAll() {
    current = openGeneration(1);
    place = sizeOf(current);
    News news{.startsAnew = true, .text = endOf(current, place, mostBytes)};
    for (int generation = 2; generation <= oldestLogGeneration; ++generation) {
        const auto left = mostBytes - static_cast<off_t>(news.text.size());
        const auto file = openGeneration(generation);
        news.text.insert(0, left > 0 ? endOf(file, sizeOf(file), left) : "");
    }
    return news;
}

/// Whole lines: one that is still being written comes when it is whole.
std::string LogReader::readRest() {
    auto text = contentOf(current, place, sizeOf(current));
    text.resize(text.rfind('\n') + 1);
    place += static_cast<off_t>(text.size());
    return text;
}

bool LogReader::currentIs(int generation) const {
    struct stat ours {
    }, there{};
    return fstat(current.get(), &ours) == 0 && stat(pathOf(generation).c_str(), &there) == 0 &&
           ours.st_dev == there.st_dev && ours.st_ino == there.st_ino;
}

std::string LogReader::pathOf(int generation) const {
    return folder + "/" + logFileName(nameOfLoggedProgram(), generation);
}

/// Not waiting for a pipe's writer, which somebody may have put in its place.
FileDescriptor LogReader::openGeneration(int generation) const {
    return FileDescriptor(
        open(pathOf(generation).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
}
