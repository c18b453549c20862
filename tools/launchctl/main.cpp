// launchctl: has this user's launchd jobs loaded, unloaded and listed. Says on standard error what
// went wrong and ends with status 1 if anything did.

#include "Failure.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "JobEngine.h"
#include "JobTrust.h"

#include <iostream>
#include <span>

namespace {

constexpr const char* usage =
    "usage: launchctl load PATH...     start the job in a file, or each job in a folder\n"
    "       launchctl unload PATH...   end and forget them\n"
    "       launchctl remove LABEL     the same by label\n"
    "       launchctl list [LABEL]     process, last exit status and label of the loaded jobs\n";

void complain(const std::string& message) { std::cerr << "launchctl: " << message << '\n'; }

class Launchctl {
public:
    void load(const Job& job) {
        if (engineWith(job.label) != nullptr && engineWith(job.label) != engines.front().get()) {
            fail("%@: Already loaded", job.label);
        }
        engines.front()->load(job);
    }

    void unload(const std::string& label) {
        auto* engine = engineWith(label);
        if (engine == nullptr) {
            fail("%@: Not loaded", label);
        }
        engine->unload(label);
    }

    void list() {
        std::cout << "PID\tStatus\tLabel\n";
        for (const auto& job : jobs()) {
            std::cout << processOf(job) << '\t' << job.lastStatus << '\t' << job.label << '\n';
        }
    }

    void list(const std::string& label) {
        for (const auto& job : jobs()) {
            if (job.label == label) {
                std::cout << "PID = " << processOf(job) << "\nLastExitStatus = " << job.lastStatus
                          << "\nLabel = " << job.label << '\n';
                return;
            }
        }
        fail("%@: Not loaded", label);
    }

private:
    JobEngine* engineWith(const std::string& label) {
        for (const auto& engine : engines) {
            if (engine->isLoaded(label)) {
                return engine.get();
            }
        }
        return nullptr;
    }

    std::vector<JobStatus> jobs() {
        std::vector<JobStatus> all;
        for (const auto& engine : engines) {
            const auto some = engine->list();
            all.insert(all.end(), some.begin(), some.end());
        }
        return all;
    }

    static std::string processOf(const JobStatus& job) {
        return job.processIdentifier ? std::to_string(*job.processIdentifier) : "-";
    }

    const std::vector<std::unique_ptr<JobEngine>> engines = JobEngine::available();
};

/// The job files that a path stands for.
std::vector<std::string> jobFiles(const std::string& path) {
    if (!NSFileManager::defaultManager().isDirectoryAtPath(path)) {
        return {path};
    }
    const auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(path);
    if (!names) {
        fail("Couldn't read %@", path);
    }
    std::vector<std::string> files;
    for (const auto& name : *names) {
        if (name.ends_with(".plist") && !name.starts_with('.')) {
            files.push_back(stringByAppendingPathComponent(path, name));
        }
    }
    return files;
}

/// A file that cannot be read or loaded is complained about, and the next one is tried.
int forEachJob(std::span<char*> paths, const std::function<void(const Job&)>& work) {
    int status = EXIT_SUCCESS;
    for (const std::string path : paths) {
        for (const auto& file : jobFiles(path)) {
            try {
                work(Job::readFile(file));
            } catch (const std::exception& exception) {
                complain(exception.what());
                status = EXIT_FAILURE;
            }
        }
    }
    return status;
}

int run(std::span<char*> arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    const auto operands = arguments.empty() ? arguments : arguments.subspan(1);
    if (command == "--help" || command == "help") {
        std::cout << usage;
        return EXIT_SUCCESS;
    }
    if (command == "load" && !operands.empty()) {
        Launchctl launchctl;
        return forEachJob(operands, [&](const Job& job) {
            for (const auto& warning : job.warnings) {
                complain(warning);
            }
            requireTrustedProgram(job);
            launchctl.load(job);
        });
    }
    if (command == "unload" && !operands.empty()) {
        Launchctl launchctl;
        return forEachJob(operands, [&](const Job& job) { launchctl.unload(job.label); });
    }
    if (command == "remove" && operands.size() == 1) {
        Launchctl().unload(operands[0]);
        return EXIT_SUCCESS;
    }
    if (command == "list" && operands.size() <= 1) {
        operands.empty() ? Launchctl().list() : Launchctl().list(operands[0]);
        return EXIT_SUCCESS;
    }
    std::cerr << usage;
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(std::span(argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)));
    } catch (const std::exception& exception) {
        complain(exception.what());
        return EXIT_FAILURE;
    }
}
