#include "Supervision.h"

#include "Job.h"
#include "JobName.h"
#include "Supervisor.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

/// Lets go of everything that ties the process to the one that called launchctl.
void detach() {
    prctl(PR_SET_NAME, "launchd-job");
    const FileDescriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(null.get(), standard);
    }
    [[maybe_unused]] const auto moved = chdir("/");
    // Until there is something to end, the signal to do so ends this process.
    std::signal(SIGTERM, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

void answer(const FileDescriptor& caller, char kind, std::string text) {
    text.insert(0, 1, kind);
    text.resize(std::min(text.size(), longestAnswer));
    send(caller.get(), text.data(), text.size(), MSG_NOSIGNAL);
}

} // namespace

int supervise(const std::string& path) {
    FileDescriptor caller(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    try {
        const auto job = Job::readFile(path);
        detach();
        auto shared = SupervisedJob::take(jobNameForLabel(job.label), job.label);
        Supervisor supervisor(job, shared);
        answer(caller, answerStarted, supervisor.begin());
        caller.reset();
        supervisor.run();
    } catch (const std::exception& exception) {
        answer(caller, answerFailed, exception.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
