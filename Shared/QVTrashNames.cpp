#include "Shared/QVTrashNames.h"

#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

namespace {

std::string localTimestamp() {
    const auto now = std::chrono::system_clock::to_time_t(Machine::current().clock().date());
    tm parts{};
    localtime_r(&now, &parts);
    std::array<char, 32> text{};
    return {text.data(), strftime(text.data(), text.size(), "%Y%m%d%H%M%S", &parts)};
}

} // namespace

QVTrashNames& QVTrashNames::shared() {
    static QVTrashNames names;
    return names;
}

std::optional<QVTrashNames::Identity> QVTrashNames::identityOf(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return std::nullopt;
    }
    return Identity{status.st_dev, status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

bool QVTrashNames::isTaken(const std::string& name) {
    if (identityOf(name)) {
        return true;
    }
    const auto move = underWay.find(name);
    if (move == underWay.end()) {
        return false;
    }
    if (identityOf(move->second.path) == move->second.file) {
        return true;
    }
    underWay.erase(move);
    return false;
}

std::string QVTrashNames::freeName(const std::string& wanted) {
    if (!isTaken(wanted)) {
        return wanted;
    }
    const auto extension = pathExtension(wanted);
    const auto now = localTimestamp();
    if (std::exchange(second, now) != now) {
        numbers.clear();
    }
    const auto stem = stringByDeletingPathExtension(wanted) + "_" + now;
    const auto ending = extension.empty() ? "" : "." + extension;
    // Those that were given in this second are not looked at again.
    int& number = numbers[stem + ending];
    std::string name;
    do {
        name = ++number == 1 ? stem + ending : stringWithFormat("%@_%d%@", stem, number, ending);
    } while (isTaken(name));
    return name;
}

void QVTrashNames::forgetFinished() {
    if (underWay.size() < forgetAt) {
        return;
    }
    std::erase_if(underWay, [](const auto& each) {
        return identityOf(each.second.path) != each.second.file;
    });
    forgetAt = std::max(fewMoves, 2 * underWay.size());
}

std::string QVTrashNames::take(const std::string& path, const std::string& trash) {
    const std::lock_guard lock(mutex);
    forgetFinished();
    auto name = freeName(stringByAppendingPathComponent(trash, lastPathComponent(path)));
    if (const auto file = identityOf(path)) {
        underWay.insert_or_assign(name, Move{path, *file});
    }
    return name;
}
