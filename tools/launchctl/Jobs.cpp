#include "Jobs.h"

#include "Failure.h"
#include "JobName.h"
#include "SupervisedJob.h"
#include "Supervision.h"
#include "SupervisorStart.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>

using namespace std::chrono_literals;

namespace {

/// A program starts in less, and most end in less.
constexpr std::chrono::milliseconds patience = 25s;

/// Whether it becomes readable or is closed by the other side in time. The clock goes on while
/// signals interrupt, and no signal here comes back.
bool waitFor(const FileDescriptor& descriptor) {
    pollfd entry{.fd = descriptor.get(), .events = POLLIN, .revents = 0};
    return poll(&entry, 1, static_cast<int>(patience.count())) > 0;
}

std::optional<JobStatus> statusOf(const std::string& name) {
    const auto label = labelForJobName(name);
    const auto job = label ? SupervisedJob::find(name) : std::nullopt;
    if (!job || !job->isKept()) {
        return std::nullopt;
    }
    const auto record = job->record();
    return JobStatus{*label, record.process != 0 ? std::optional(record.process) : std::nullopt,
                     record.lastStatus};
}

} // namespace

std::string loadJob(const std::string& path, const Job& job) {
    const auto kept = SupervisedJob::find(jobNameForLabel(job.label));
    if (kept && kept->isKept() && !kept->canBeSucceeded()) {
        fail("%@: Already loaded", job.label);
    }
    // One packet, so that nobody has to close it to be understood.
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        fail("Cannot start a supervisor: %@", std::generic_category().message(errno));
    }
    const FileDescriptor ours(ends[0]);
    FileDescriptor theirs(ends[1]);
    startSupervisor(std::filesystem::absolute(path).string(), job, theirs);
    theirs.reset();
    if (!waitFor(ours)) {
        const auto place = SupervisedJob::find(jobNameForLabel(job.label));
        if (!place || !place->successor()) {
            fail("%@: The supervisor does not answer", job.label);
        }
        return sentence("%@: Starts when the one before it has ended", job.label);
    }
    std::array<char, longestAnswer> answer{};
    const auto length = recv(ours.get(), answer.data(), answer.size(), 0);
    if (length <= 0) {
        fail("%@: The supervisor does not start", job.label);
    }
    std::string text(answer.data() + 1, static_cast<std::size_t>(length - 1));
    if (answer[0] != answerStarted) {
        fail("%@", text);
    }
    return text;
}

void unloadJob(const std::string& label) {
    const auto job = SupervisedJob::find(jobNameForLabel(label));
    if (!job || !job->isKept()) {
        fail("%@: Not loaded", label);
    }
    // The one that waits first, so that it does not take the other's place.
    const std::array keepers{job->successor(), job->supervisor()};
    for (const auto& keeper : keepers) {
        if (keeper) {
            signalProcess(keeper, SIGTERM);
        }
    }
    for (const auto& keeper : keepers) {
        if (keeper && !waitFor(keeper)) {
            fail("%@: Still being unloaded", label);
        }
    }
}

std::vector<JobStatus> loadedJobs() {
    std::vector<JobStatus> jobs;
    for (const auto& name : SupervisedJob::names()) {
        if (auto status = statusOf(name)) {
            jobs.push_back(std::move(*status));
        }
    }
    return jobs;
}

std::vector<std::string> labelsOfSession() {
    std::vector<std::string> labels;
    for (const auto& name : SupervisedJob::names()) {
        const auto label = labelForJobName(name);
        const auto job = label ? SupervisedJob::find(name) : std::nullopt;
        if (job && job->isKept() && !job->isOfAnotherSession()) {
            labels.push_back(*label);
        }
    }
    return labels;
}

std::optional<JobStatus> loadedJob(const std::string& label) {
    return statusOf(jobNameForLabel(label));
}
