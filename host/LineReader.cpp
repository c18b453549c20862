#include "host/LineReader.h"

#include "Foundation/NSException.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <QTimer>
#include <unistd.h>

LineReader::LineReader(const std::string& path)
    : descriptor(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                             : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
    if (!descriptor) {
        throw NSException(NSInvalidArgumentException,
                          "The script " + path + " cannot be read: " + std::strerror(errno));
    }
    notifier = std::make_unique<QSocketNotifier>(descriptor.get(), QSocketNotifier::Read);
    notifier->setEnabled(false);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, notifier.get(),
                     [this] { readMore(); });
}

void LineReader::readLine(std::function<void(std::optional<std::string>)> receive) {
    receiver = std::move(receive);
    if (!deliver()) {
        notifier->setEnabled(true);
    }
}

void LineReader::readMore() {
    std::array<char, 4096> bytes{};
    const ssize_t count = read(descriptor.get(), bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    readProblem = count < 0 ? errno : 0;
    ended = count <= 0;
    if (!ended) {
        buffer.append(bytes.data(), static_cast<std::size_t>(count));
    }
    notifier->setEnabled(!deliver());
}

/// Hands over what is there, if it is a line; from the event loop, so that the receiver may wait.
bool LineReader::deliver() {
    const auto end = buffer.find('\n', searched);
    searched = end == std::string::npos ? buffer.size() : 0;
    if (end == std::string::npos && !ended && buffer.size() <= longestLine) {
        return false;
    }
    std::optional<std::string> line;
    if (end != std::string::npos || !buffer.empty()) {
        line = buffer.substr(0, end);
        buffer.erase(0, end == std::string::npos ? end : end + 1);
    }
    QTimer::singleShot(
        0, notifier.get(),
        [receive = std::exchange(receiver, nullptr), line = std::move(line)] { receive(line); });
    return true;
}
