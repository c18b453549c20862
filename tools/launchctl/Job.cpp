#include "Job.h"

#include "Failure.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "System/FileDescriptor.h"
#include "System/FileReading.h"
#include "System/Machine.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr off_t largestFile = 1 << 20;
constexpr double longestPause = 24 * 60 * 60;

/// Checks the very file that is read, so that nobody can swap it in between. Says whose it is.
std::string trustedContent(const std::string& path, uid_t& owner) {
    // Not blocking, since somebody may have put a pipe there.
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!file || fstat(file.get(), &status) != 0) {
        fail("Couldn't read %@: %@", path, std::strerror(errno));
    }
    const auto user = Machine::current().realUserID();
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
        (status.st_uid != 0 && status.st_uid != user)) {
        fail("Dubious ownership on file (skipping): %@", path);
    }
    owner = status.st_uid;
    if (!S_ISREG(status.st_mode) || status.st_size > largestFile) {
        fail("%@ is no job file", path);
    }
    auto content = contentsOfDescriptor(file.get());
    if (!content) {
        fail("Couldn't read %@: %@", path, std::strerror(errno));
    }
    return std::move(*content);
}

NSDictionary dictionaryIn(const std::string& path, uid_t& owner) {
    const auto content = trustedContent(path, owner);
    try {
        const auto list = propertyListFromData(content);
        if (const auto* dictionary = list.dictionary()) {
            return *dictionary;
        }
    } catch (const NSException&) { // said below, with the file's name
    }
    fail("%@ holds no property list dictionary", path);
}

/// Fills a job from a file's keys, one after the other.
class JobReader {
public:
    explicit JobReader(const std::string& path) : path(path) {}

    Job read(const NSDictionary& dictionary) {
        for (const auto& [key, value] : dictionary) {
            take(key, value);
        }
        complete();
        return std::move(job);
    }

private:
    template <class... Arguments>
    [[noreturn]] void refuse(const std::string& format, const Arguments&... arguments) const {
        fail("%@: %@", path, sentence(format, arguments...));
    }

    void take(const std::string& key, const PropertyList& value) {
        if (key == "Label") {
            job.label = text(key, value);
        } else if (key == "Program") {
            job.program = text(key, value);
        } else if (key == "ProgramArguments") {
            takeArguments(key, value);
        } else if (key == "WorkingDirectory") {
            job.workingDirectory = text(key, value);
        } else if (key == "RunAtLoad") {
            job.startsOnLoad = job.startsOnLoad || flag(key, value);
        } else if (key == "KeepAlive") {
            takeKeepAlive(key, value);
        } else if (key == "ThrottleInterval") {
            job.throttleInterval = seconds(key, value, 0);
        } else if (key == "ExitTimeOut") {
            // A job that may take for ever to end could not be unloaded.
            job.exitTimeOut = seconds(key, value, 1);
        } else if (key == "Disabled") {
            if (flag(key, value)) {
                refuse("the job is disabled");
            }
        } else {
            job.warnings.push_back(sentence("%@: the key \"%@\" is not supported", path, key));
        }
    }

    void takeArguments(const std::string& key, const PropertyList& value) {
        const auto* arguments = value.array();
        if (arguments == nullptr) {
            refuse("\"%@\" must be an array of strings", key);
        }
        for (const auto& argument : *arguments) {
            job.arguments.push_back(text(key, argument));
        }
    }

    void takeKeepAlive(const std::string& key, const PropertyList& value) {
        if (const auto* conditions = value.dictionary()) {
            for (const auto& [condition, wanted] : *conditions) {
                if (condition != "SuccessfulExit") {
                    refuse("\"KeepAlive\" with \"%@\" is not supported", condition);
                }
                job.restart = flag(condition, wanted) ? Job::Restart::afterSuccess
                                                      : Job::Restart::afterFailure;
            }
        } else if (flag(key, value)) {
            job.restart = Job::Restart::always;
        }
        // How it ended can only be known of a program that was started.
        job.startsOnLoad = job.startsOnLoad || job.restart != Job::Restart::never;
    }

    void complete() {
        if (job.label.empty()) {
            refuse("\"Label\" is missing");
        }
        if (job.program.empty() && !job.arguments.empty()) {
            job.program = job.arguments.front();
        }
        if (job.arguments.empty()) {
            job.arguments.push_back(job.program);
        }
        if (!job.program.starts_with('/')) {
            refuse("\"%@\" must be an absolute path", "Program");
        }
        if (!job.workingDirectory.empty() && !job.workingDirectory.starts_with('/')) {
            refuse("\"%@\" must be an absolute path", "WorkingDirectory");
        }
    }

    std::string text(const std::string& key, const PropertyList& value) const {
        const auto* string = value.string();
        // The kernel ends a text at its first zero byte: what runs would not be what was read.
        if (string == nullptr || string->find('\0') != std::string::npos) {
            refuse("\"%@\" must be a string", key);
        }
        return *string;
    }

    bool flag(const std::string& key, const PropertyList& value) const {
        const auto* boolean = value.boolean();
        if (boolean == nullptr) {
            refuse("\"%@\" must be true or false", key);
        }
        return *boolean;
    }

    std::chrono::seconds seconds(const std::string& key, const PropertyList& value,
                                 int least) const {
        const auto number = value.number();
        if (!number || !(*number >= least && *number <= longestPause)) {
            refuse("\"%@\" must be a number of seconds from %d to a day's", key, least);
        }
        return std::chrono::seconds(static_cast<long>(*number));
    }

    const std::string& path;
    Job job;
};

} // namespace

bool Job::restartsAfter(int status) const {
    return restart == Restart::always || (restart == Restart::afterFailure && status != 0) ||
           (restart == Restart::afterSuccess && status == 0);
}

Job Job::readFile(const std::string& path) {
    uid_t owner = 0;
    auto job = JobReader(path).read(dictionaryIn(path, owner));
    job.isSuperusers = owner == 0;
    return job;
}

std::vector<std::string> Job::environment() {
    constexpr std::array names = {"HOME",
                                  "USER",
                                  "LOGNAME",
                                  "SHELL",
                                  "PATH",
                                  "LANG",
                                  "LANGUAGE",
                                  "LC_ALL",
                                  "LC_MESSAGES",
                                  "TMPDIR",
                                  "DISPLAY",
                                  "WAYLAND_DISPLAY",
                                  "XAUTHORITY",
                                  "XDG_RUNTIME_DIR",
                                  "XDG_SESSION_TYPE",
                                  "XDG_CURRENT_DESKTOP",
                                  "XDG_CONFIG_HOME",
                                  "XDG_DATA_HOME",
                                  "XDG_DATA_DIRS",
                                  "DBUS_SESSION_BUS_ADDRESS",
                                  "QT_QPA_PLATFORM",
                                  "TESSALINE_ROOT"};
    std::vector<std::string> variables;
    for (const char* name : names) {
        if (const char* value = std::getenv(name)) {
            variables.push_back(std::string(name) + "=" + value);
        }
    }
    return variables;
}
