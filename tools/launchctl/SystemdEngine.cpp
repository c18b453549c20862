#include "SystemdEngine.h"

#include "Failure.h"
#include "JobName.h"
#include "System/FileDescriptor.h"
#include "System/Machine.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>

using namespace std::chrono_literals;

namespace {

std::string serviceOf(const std::string& name) { return name + ".service"; }
std::string sliceOf(const std::string& name) { return name + ".slice"; }

/// Fills the properties of a unit that is to be made. A message that lacks memory for one says so
/// when it is sent.
class Properties {
public:
    explicit Properties(sd_bus_message* message) : message(message) {
        sd_bus_message_open_container(message, 'a', "(sv)");
    }
    ~Properties() { sd_bus_message_close_container(message); }
    Properties(const Properties&) = delete;
    Properties& operator=(const Properties&) = delete;

    template <class... Values>
    void add(const char* name, const char* type, Values... values) {
        sd_bus_message_append(message, "(sv)", name, type, values...);
    }
    void add(const char* name, const std::vector<std::string>& texts) {
        open(name, "as");
        addTexts(texts);
        close();
    }
    void addCommand(const std::string& program, const std::vector<std::string>& arguments) {
        open("ExecStartEx", "a(sasas)");
        sd_bus_message_open_container(message, 'a', "(sasas)");
        sd_bus_message_open_container(message, 'r', "sasas");
        sd_bus_message_append(message, "s", program.c_str());
        addTexts(arguments);
        // An argument is meant as it stands, dollar signs too.
        addTexts({"no-env-expand"});
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
        close();
    }

private:
    void open(const char* name, const char* type) {
        sd_bus_message_open_container(message, 'r', "sv");
        sd_bus_message_append(message, "s", name);
        sd_bus_message_open_container(message, 'v', type);
    }
    void close() {
        sd_bus_message_close_container(message);
        sd_bus_message_close_container(message);
    }
    void addTexts(const std::vector<std::string>& texts) {
        sd_bus_message_open_container(message, 'a', "s");
        for (const auto& text : texts) {
            sd_bus_message_append(message, "s", text.c_str());
        }
        sd_bus_message_close_container(message);
    }

    sd_bus_message* message;
};

std::uint64_t microseconds(std::chrono::seconds seconds) {
    return static_cast<std::uint64_t>(std::chrono::microseconds(seconds).count());
}

/// Held while a job is loaded, so that of two loads at once the second one finds it loaded, also
/// where its program has ended again by then.
FileDescriptor turnToLoad(const std::string& name) {
    const auto path = Machine::current().temporaryDirectory() + "/" + name + ".load";
    FileDescriptor file(
        open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file || flock(file.get(), LOCK_EX) != 0) {
        fail("Cannot lock %@: %@", path, std::strerror(errno));
    }
    return file;
}

/// systemd takes some signals for a clean exit, and a job does not.
void addRestart(Properties& properties, const Job& job) {
    switch (job.restart) {
    case Job::Restart::never:
        return;
    case Job::Restart::always:
        properties.add("Restart", "s", "always");
        break;
    case Job::Restart::afterFailure:
        properties.add("Restart", "s", "always");
        properties.add("RestartPreventExitStatus", "(aiai)", 1, 0, 0);
        break;
    case Job::Restart::afterSuccess:
        properties.add("Restart", "s", "on-success");
        properties.add("RestartPreventExitStatus", "(aiai)", 0, 4, SIGHUP, SIGINT, SIGPIPE,
                       SIGTERM);
        break;
    }
    properties.add("RestartUSec", "t", microseconds(job.throttleInterval));
    // However often it fails, it is the user who gives up.
    properties.add("StartLimitIntervalUSec", "t", std::uint64_t{0});
}

} // namespace

bool SystemdEngine::isLoaded(const std::string& label) {
    return manager->activeState(sliceOf(jobNameForLabel(label))) == "active";
}

void SystemdEngine::load(const Job& job) {
    const auto name = jobNameForLabel(job.label);
    const auto slice = sliceOf(name);
    const auto turn = turnToLoad(name);
    if (isLoaded(job.label)) {
        if (!manager->hasPendingWork(slice)) {
            fail("%@: Already loaded", job.label);
        }
        if (!manager->waitUntil([&] { return !isLoaded(job.label); }, startBound)) {
            fail("%@: Still being unloaded", job.label);
        }
    }
    const auto work =
        job.startsOnLoad ? startService(name, job) : manager->enqueue("StartUnit", slice, "fail");
    if (manager->resultOf(work, startBound) != "done") {
        const auto status = manager->number(serviceOf(name), "ExecMainStatus");
        manager->enqueue("StopUnit", slice, "replace");
        fail("Cannot start %@: systemd gives status %d", job.program, status);
    }
}

std::string SystemdEngine::startService(const std::string& name, const Job& job) {
    const auto request = [&] {
        auto message = manager->newCall("StartTransientUnit");
        sd_bus_message_append(message.get(), "ss", serviceOf(name).c_str(), "fail");
        {
            Properties properties(message.get());
            properties.add("Description", "s", job.label.c_str());
            properties.add("Slice", "s", sliceOf(name).c_str());
            // Only once the program has taken over is it known that it could be started.
            properties.add("Type", "s", "exec");
            properties.addCommand(job.program, job.arguments);
            if (!job.workingDirectory.empty()) {
                properties.add("WorkingDirectory", "s", job.workingDirectory.c_str());
            }
            properties.add("Environment", Job::environment());
            addRestart(properties, job);
            properties.add("KillSignal", "i", SIGTERM);
            properties.add("TimeoutStopUSec", "t", microseconds(job.exitTimeOut));
            properties.add("CollectMode", "s", "inactive-or-failed");
        }
        sd_bus_message_append(message.get(), "a(sa(sv))", 0);
        return message;
    };
    // The manager forgets a unit of the same name a moment after its end only.
    for (int attempt = 1;; ++attempt) {
        try {
            return manager->enqueue(request());
        } catch (const NSException& exception) {
            constexpr int attempts = 20;
            if (exception.name() != "org.freedesktop.systemd1.UnitExists" || attempt == attempts) {
                throw;
            }
            manager->waitUntil([] { return false; }, 50ms);
        }
    }
}

void SystemdEngine::unload(const std::string& label) {
    const auto slice = sliceOf(jobNameForLabel(label));
    manager->enqueue("StopUnit", slice, "replace");
    if (!manager->waitUntil([&] { return !isLoaded(label); }, endBound)) {
        fail("%@: Still being unloaded", label);
    }
}

JobStatus SystemdEngine::statusOf(const std::string& name, const std::string& label) const {
    const auto service = serviceOf(name);
    const auto process = static_cast<int>(manager->number(service, "MainPID"));
    const auto status = static_cast<int>(manager->number(service, "ExecMainStatus"));
    const bool wasSignal = manager->number(service, "ExecMainCode") > CLD_EXITED;
    return {label, process != 0 ? std::optional(process) : std::nullopt,
            wasSignal ? -status : status};
}

std::vector<JobStatus> SystemdEngine::list() {
    std::vector<JobStatus> jobs;
    const auto suffix = sliceOf("");
    for (auto unit : manager->activeUnits(jobNamePrefix() + "*" + suffix)) {
        unit.resize(unit.size() - suffix.size());
        if (const auto label = labelForJobName(unit)) {
            jobs.push_back(statusOf(unit, *label));
        }
    }
    return jobs;
}
