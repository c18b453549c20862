#include "SupervisedJob.h"

#include "Failure.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "System/Machine.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string folder() {
    auto path = Machine::current().temporaryDirectory() + "/launchd";
    if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        fail("Cannot make the folder %@: %@", path, std::strerror(errno));
    }
    return path;
}

FileDescriptor openFile(const std::string& path, int creation) {
    FileDescriptor file(
        open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | creation, S_IRUSR | S_IWUSR));
    if (!file && (creation != 0 || errno != ENOENT)) {
        fail("Cannot open %@: %@", path, std::strerror(errno));
    }
    return file;
}

struct flock part(off_t byte, short type = F_WRLCK) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

/// Of always the same length, so that a new record covers the old one in a single write.
constexpr const char* recordFormat = "%10d %10d\n";
constexpr off_t recordLength = 22;

/// What tells this login's bus from another's: a bus has one address, with or without its own
/// number at the end.
std::string session() {
    auto address = Machine::current().sessionBusAddress();
    return address.substr(0, address.find(",guid="));
}

} // namespace

std::optional<SupervisedJob> SupervisedJob::find(const std::string& name) {
    auto path = folder() + "/" + name;
    auto file = openFile(path, 0);
    return file ? std::optional(SupervisedJob(std::move(path), std::move(file))) : std::nullopt;
}

SupervisedJob SupervisedJob::take(const std::string& name, const std::string& label) {
    const auto path = folder() + "/" + name;
    for (;;) {
        SupervisedJob job(path, openFile(path, O_CREAT));
        if (!job.lock(keeping)) {
            if (!job.canBeSucceeded() || !job.lock(waiting)) {
                fail("%@: Already loaded", label);
            }
            job.awaitEnd();
            if (!job.lock(keeping)) {
                fail("%@: Already loaded", label);
            }
            job.unlock(waiting);
        }
        if (job.acquire()) {
            return job;
        }
    }
}

/// Once it is locked: false when the one before has taken this very file away in between.
bool SupervisedJob::acquire() {
    struct stat ours {
    }, there{};
    if (fstat(file.get(), &ours) != 0 || stat(path.c_str(), &there) != 0 ||
        ours.st_ino != there.st_ino) {
        return false;
    }
    isOurs = true;
    const auto text = session();
    if (ftruncate(file.get(), 0) != 0 ||
        pwrite(file.get(), text.data(), text.size(), recordLength) !=
            static_cast<ssize_t>(text.size()) ||
        !lock(named)) {
        fail("Cannot write %@: %@", path, std::strerror(errno));
    }
    return true;
}

void SupervisedJob::awaitEnd() const {
    const auto process = supervisor();
    if (!process) {
        return;
    }
    if (isOfAnotherSession()) {
        signalProcess(process, SIGTERM);
    }
    pollfd entry{.fd = process.get(), .events = POLLIN, .revents = 0};
    while (poll(&entry, 1, -1) < 0 && errno == EINTR) {
    }
}

SupervisedJob::SupervisedJob(SupervisedJob&& other) noexcept
    : path(std::move(other.path)), file(std::move(other.file)),
      isOurs(std::exchange(other.isOurs, false)) {}

SupervisedJob::~SupervisedJob() {
    // One that waits goes on with the same file.
    auto successor = part(waiting);
    if (isOurs && fcntl(file.get(), F_GETLK, &successor) == 0 && successor.l_type == F_UNLCK) {
        unlink(path.c_str());
    }
}

bool SupervisedJob::isKept() const {
    return holderNumber(keeping) != 0 || holderNumber(waiting) != 0;
}

bool SupervisedJob::canBeSucceeded() const {
    return (holderNumber(ending) != 0 || isOfAnotherSession()) && holderNumber(waiting) == 0;
}

bool SupervisedJob::isOfAnotherSession() const {
    std::array<char, PATH_MAX> text{};
    const auto length = pread(file.get(), text.data(), text.size(), recordLength);
    const auto here = session();
    return !here.empty() && length >= 0 && holderNumber(named) != 0 &&
           here != std::string_view(text.data(), static_cast<std::size_t>(length));
}

bool SupervisedJob::lock(Role role) {
    auto lock = part(role);
    return fcntl(file.get(), F_SETLK, &lock) == 0;
}

void SupervisedJob::unlock(Role role) {
    auto lock = part(role, F_UNLCK);
    fcntl(file.get(), F_SETLK, &lock);
}

pid_t SupervisedJob::holderNumber(Role role) const {
    auto lock = part(role);
    if (fcntl(file.get(), F_GETLK, &lock) != 0) {
        fail("Cannot ask for a job's supervisor: %@", std::strerror(errno));
    }
    return lock.l_type == F_UNLCK ? 0 : lock.l_pid;
}

FileDescriptor SupervisedJob::holder(Role role) const {
    const auto process = holderNumber(role);
    if (process == 0) {
        return {};
    }
    FileDescriptor handle = descriptorOfProcess(process);
    if (!handle && errno != ESRCH) {
        fail("%@ is kept by a process that cannot be reached from here", path);
    }
    return handle && holderNumber(role) == process ? std::move(handle) : FileDescriptor();
}

SupervisedJob::Record SupervisedJob::record() const {
    std::array<char, recordLength + 1> text{};
    Record record;
    if (pread(file.get(), text.data(), recordLength, 0) != recordLength ||
        std::sscanf(text.data(), "%d %d", &record.process, &record.lastStatus) != 2) {
        return {};
    }
    return record;
}

void SupervisedJob::setRecord(const Record& record) {
    std::array<char, recordLength + 1> text{};
    std::snprintf(text.data(), text.size(), recordFormat, record.process, record.lastStatus);
    if (pwrite(file.get(), text.data(), recordLength, 0) != recordLength) {
        NSLog("launchctl: Cannot note what became of a job: %@", std::strerror(errno));
    }
}

std::vector<std::string> SupervisedJob::names() {
    return NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder()).value_or(
        std::vector<std::string>{});
}
