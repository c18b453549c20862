// launchctl: has this user's launchd jobs loaded, unloaded and listed. Says on standard error what
// went wrong and ends with status 1 if anything did.

#include "Failure.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Jobs.h"
#include "JobTrust.h"
#include "Supervision.h"
#include "System/SaneSurroundings.h"

#include <clocale>
#include <functional>
#include <iostream>
#include <span>

namespace {

constexpr const char* usage =
    "usage: launchctl load PATH...     start the job in a file, or each job in a folder\n"
    "       launchctl unload PATH...   end and forget them\n"
    "       launchctl remove LABEL     the same by label\n"
    "       launchctl bootout          end and forget all jobs of this session\n"
    "       launchctl list [LABEL]     process, last exit status and label of the loaded jobs\n"
    "       launchctl check PATH...    say why a job would not be loaded, and load none\n";

/// Printed without memory of its own, since want of it is said in this way, too. Control characters
/// would do as they like on a terminal.
struct Printable {
    std::string_view text;
};
std::ostream& operator<<(std::ostream& stream, Printable printed) {
    for (const unsigned char byte : printed.text) {
        constexpr unsigned char firstPlain = 0x20, del = 0x7f;
        constexpr const char* digits = "0123456789abcdef";
        if (byte >= firstPlain && byte != del) {
            stream << byte;
        } else {
            stream << "\\x" << digits[byte / 16] << digits[byte % 16];
        }
    }
    return stream;
}

void complain(std::string_view message) {
    std::cerr << "launchctl: " << Printable{message} << '\n';
}

std::string processOf(const JobStatus& job) {
    return job.processIdentifier ? std::to_string(*job.processIdentifier) : "-";
}

void list() {
    std::cout << "PID\tStatus\tLabel\n";
    for (const auto& job : loadedJobs()) {
        std::cout << processOf(job) << '\t' << job.lastStatus << '\t' << Printable{job.label}
                  << '\n';
    }
}

void list(const std::string& label) {
    const auto job = loadedJob(label);
    if (!job) {
        fail("%@: Not loaded", label);
    }
    std::cout << "PID = " << processOf(*job) << "\nLastExitStatus = " << job->lastStatus
              << "\nLabel = " << Printable{label} << '\n';
}

/// The job files that the paths name: each file itself, and those that lie in a folder.
std::vector<std::string> jobFiles(std::span<char*> paths) {
    auto& files = NSFileManager::defaultManager();
    std::vector<std::string> all;
    for (const std::string path : paths) {
        const auto names =
            files.isDirectoryAtPath(path) ? files.contentsOfDirectoryAtPath(path) : std::nullopt;
        if (!names) {
            all.push_back(path); // a file, or nothing, as its reader will see
            continue;
        }
        for (const auto& name : *names) {
            if (name.ends_with(".plist") && !name.starts_with('.')) {
                all.push_back(stringByAppendingPathComponent(path, name));
            }
        }
    }
    return all;
}

/// Says what goes wrong with one, and goes on with the next.
int forEach(const std::vector<std::string>& names,
            const std::function<void(const std::string&)>& work) {
    int status = EXIT_SUCCESS;
    for (const auto& name : names) {
        try {
            work(name);
        } catch (const std::exception& exception) {
            complain(exception.what());
            status = EXIT_FAILURE;
        }
    }
    return status;
}

void load(const std::string& path) {
    const auto job = Job::readFile(path);
    for (const auto& warning : job.warnings) {
        complain(warning);
    }
    if (const auto warning = loadJob(path, job); !warning.empty()) {
        complain(warning);
    }
}

int run(std::span<char*> arguments) {
    const std::string command = arguments.empty() ? "" : arguments[0];
    const auto operands = arguments.empty() ? arguments : arguments.subspan(1);
    if (command == "--help" || command == "help") {
        std::cout << usage;
    } else if (command == "load" && !operands.empty()) {
        return forEach(jobFiles(operands), load);
    } else if (command == "unload" && !operands.empty()) {
        return forEach(jobFiles(operands),
                       [](const auto& path) { unloadJob(Job::readFile(path).label); });
    } else if (command == "remove" && operands.size() == 1) {
        unloadJob(operands[0]);
    } else if (command == "bootout" && operands.empty()) {
        return forEach(labelsOfSession(), unloadJob);
    } else if (command == "list" && operands.size() <= 1) {
        operands.empty() ? list() : list(operands[0]);
    } else if (command == "check" && !operands.empty()) {
        return forEach(jobFiles(operands),
                       [](const auto& path) { requireTrustedProgram(Job::readFile(path)); });
    } else if (command == "supervise" && operands.size() == 1) { // what load starts
        return supervise(operands[0]);
    } else {
        std::cerr << usage;
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}

} // namespace

int main(int argc, char** argv) {
    takeSaneSurroundings();
    // For the system's own words; numbers in files are read as ever.
    std::setlocale(LC_CTYPE, "");
    std::setlocale(LC_MESSAGES, "");
    try {
        return run(std::span(argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)));
    } catch (const std::exception& exception) {
        complain(exception.what());
        return EXIT_FAILURE;
    }
}
