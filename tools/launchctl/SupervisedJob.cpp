#include "SupervisedJob.h"

#include "Failure.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSString.h"
#include "System/Machine.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

struct flock wholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

} // namespace

std::string SupervisedJob::folder() {
    auto path = Machine::current().temporaryDirectory() + "/launchd";
    if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        fail("Cannot make the folder %@: %@", path, std::strerror(errno));
    }
    return path;
}

SupervisedJob::SupervisedJob(const std::string& name) {
    const auto path = folder() + "/" + name;
    file.reset(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file) {
        fail("Cannot open %@: %@", path, std::strerror(errno));
    }
}

bool SupervisedJob::acquire() {
    auto lock = wholeFile();
    return fcntl(file.get(), F_SETLK, &lock) == 0;
}

pid_t SupervisedJob::supervisor() const {
    auto lock = wholeFile();
    if (fcntl(file.get(), F_GETLK, &lock) != 0) {
        fail("Cannot ask for a job's supervisor: %@", std::strerror(errno));
    }
    return lock.l_type == F_UNLCK ? 0 : lock.l_pid;
}

SupervisedJob::Record SupervisedJob::record() const {
    std::array<char, 64> text{};
    Record record;
    int ending = 0;
    if (pread(file.get(), text.data(), text.size() - 1, 0) > 0 &&
        std::sscanf(text.data(), "%d %d %d", &record.process, &record.lastStatus, &ending) == 3) {
        record.isEnding = ending != 0;
    }
    return record;
}

void SupervisedJob::setRecord(const Record& record) {
    // Always of one length, so that a new record covers the old one in a single write.
    const auto text = stringWithFormat("%10d %10d %d\n", record.process, record.lastStatus,
                                       record.isEnding ? 1 : 0);
    if (pwrite(file.get(), text.data(), text.size(), 0) != static_cast<ssize_t>(text.size())) {
        NSLog("launchctl: Cannot note what became of a job: %@", std::strerror(errno));
    }
}

std::vector<std::string> SupervisedJob::names() {
    return NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder()).value_or(
        std::vector<std::string>{});
}
