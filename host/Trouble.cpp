#include "host/Trouble.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "Foundation/NSTask.h"
#include "System/Machine.h"
#include "System/ProcessDescriptor.h"
#include "System/SystemBus.h"

#include <csignal>
#include <cstdio>
#include <QCoreApplication>
#include <QStringList>

namespace {

/// All that is said here, with %1 for the client's name.
class Text {
    Q_DECLARE_TR_FUNCTIONS(Trouble)

public:
    static QString noSessionBus() {
        return tr("There is no session bus, so nothing can be heard from %1. Log out and in again; "
                  "if that does not help, install dbus-user-session.");
    }
    static QString noPolkit() {
        return tr("polkit is missing, so nobody can give the administrator rights that turning %1 "
                  "on or off takes. Install pkexec and polkitd.");
    }
    static QString noClient() {
        return tr("%1 is not installed. It is looked for in %2. Put it there, then turn the switch "
                  "on.");
    }
    static QString andIn() { return tr(" and in ", "between two folders"); }
    static QString noProgram() {
        return tr("%1 is turned on, but its program %2 is missing. Install it again, or turn the "
                  "switch off.");
    }
    static QString jobFails() {
        return tr("%1 cannot stay up: it ended %2, and is started again from time to time. Install "
                  "it again, or turn the switch off.");
    }
    static QString byStatus() { return tr("with status %1"); }
    static QString bySignal() { return tr("by signal %1"); }
    static QString clientEnded() {
        return tr(
            "%1 has ended; the status below is the last that it told. Turn the switch off and "
            "on to start it again.");
    }
    static QString notLoaded() {
        return tr("%1 is turned on for this computer, but is not started in this login. Turn the "
                  "switch on, or log in again.");
    }
    static QString refused() {
        return tr("%1 is turned on for this computer, but is not started: %2");
    }
    static QString clientStays() {
        return tr("%1 still runs in this login, although it has been turned off for this "
                  "computer.");
    }
};

struct Answer {
    int status = -1; // where launchctl could not be asked
    std::string output, errors;
};

std::string textOf(const NSData& data) { return {data.begin(), data.end()}; }

Answer askLaunchctl(std::vector<std::string> arguments) {
    NSTask task;
    task.setLaunchPath("/bin/launchctl");
    task.setArguments(std::move(arguments));
    task.setStandardInput(std::make_shared<NSPipe>());
    task.setStandardOutput(std::make_shared<NSPipe>());
    task.setStandardError(std::make_shared<NSPipe>());
    try {
        const auto told = task.launchAndRead();
        return {task.terminationStatus(), textOf(told.output), textOf(told.error)};
    } catch (const NSException& exception) {
        return {.errors = exception.what()};
    }
}

/// Of the client's job in this login; none while it is not loaded.
std::optional<int> lastStatusOfJob(const std::string& label) {
    const auto answer = askLaunchctl({"list", label});
    int status = 0;
    const auto line = answer.output.find("LastExitStatus = ");
    const bool isThere = answer.status == 0 && line != std::string::npos &&
                         std::sscanf(answer.output.c_str() + line, "%*s = %d", &status) == 1;
    return isThere ? std::optional(status) : std::nullopt;
}

std::string jobFolder() {
    return NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::library,
                                               static_cast<unsigned>(SearchDomain::local))
               .front() +
           "/LaunchAgents";
}

/// In the order in which they are looked through.
std::vector<std::string> applicationFolders() {
    std::vector<std::string> all;
    for (const auto domain : {SearchDomain::local, SearchDomain::user}) {
        const auto folders = NSSearchPathForDirectoriesInDomains(NSSearchPathDirectory::application,
                                                                 static_cast<unsigned>(domain));
        all.insert(all.end(), folders.begin(), folders.end());
    }
    return all;
}

std::vector<pid_t> processesOfClient(const std::string& name) {
    std::vector<pid_t> processes;
    for (const auto& process : Machine::current().processes()) {
        if (process.executablePath.ends_with("/" + name)) {
            processes.push_back(process.processIdentifier);
        }
    }
    return processes;
}

QString quoted(const std::string& text) { return QString::fromStdString(text); }

/// One look, from the causes that come first to those that are left.
class Look {
public:
    explicit Look(const ClientState& state)
        : state(state), name(nameOfClient(state.identifier)),
          jobFile(jobFolder() + "/" + state.identifier + ".plist") {}

    Finding find() {
        const auto processes = processesOfClient(name);
        finding.process = processes.empty() ? 0 : processes.front();
        if (!state.hasSessionBus) {
            say(Trouble::Kind::noSessionBus, Text::noSessionBus());
        } else if (isWithoutPolkit()) {
            say(Trouble::Kind::noPolkit, Text::noPolkit());
        } else if (NSFileManager::defaultManager().fileExistsAtPath(jobFile)) {
            lookAtJob();
        } else if (finding.process != 0) {
            say(Trouble::Kind::clientStays, Text::clientStays());
        } else if (!NSBundle::bundleWithIdentifier(state.identifier)) {
            QStringList folders;
            for (const auto& folder : applicationFolders()) {
                folders.append(quoted(folder));
            }
            say(Trouble::Kind::noClient, Text::noClient(), folders.join(Text::andIn()));
        }
        return finding;
    }

private:
    void say(Trouble::Kind kind, const QString& text, const QString& detail = {}) {
        const auto client = quoted(name);
        finding.trouble =
            Trouble{kind, detail.isEmpty() ? text.arg(client) : text.arg(client, detail)};
    }

    static bool isWithoutPolkit() {
        const auto& machine = Machine::current();
        return machine.authorizationMode() == AuthorizationMode::system &&
               (machine.programForTool("/usr/bin/pkexec").empty() ||
                !systemBusHas("org.freedesktop.PolicyKit1"));
    }

    void lookAtJob() {
        if (finding.process != 0 && !state.jobFailed) {
            return; // as it should be
        }
        const auto job = dictionaryWithContentsOfFile(jobFile);
        const auto program = job ? job->stringForKey("Program") : std::nullopt;
        const auto lastStatus = lastStatusOfJob(state.identifier);
        if (program && !NSFileManager::defaultManager().isExecutableFileAtPath(*program)) {
            say(Trouble::Kind::noProgram, Text::noProgram(), quoted(*program));
        } else if (lastStatus.value_or(0) != 0) {
            const auto how = *lastStatus < 0 ? Text::bySignal() : Text::byStatus();
            say(Trouble::Kind::jobFails, Text::jobFails(), how.arg(std::abs(*lastStatus)));
        } else if (finding.process == 0) {
            lookWhyItDoesNotRun(lastStatus.has_value());
        }
    }

    void lookWhyItDoesNotRun(bool isLoaded) {
        if (state.isShownOn && (state.wasSeen || isLoaded)) {
            say(Trouble::Kind::clientEnded, Text::clientEnded());
        } else if (!isLoaded) {
            const auto answer = askLaunchctl({"check", jobFile});
            answer.status == 0 ? say(Trouble::Kind::notLoaded, Text::notLoaded())
                               : say(Trouble::Kind::notLoaded, Text::refused(),
                                     quoted(stringByTrimmingWhitespaceAndNewlines(answer.errors)));
        }
    }

    const ClientState& state;
    const std::string name, jobFile;
    Finding finding;
};

} // namespace

Finding lookForTrouble(const ClientState& state) { return Look(state).find(); }

std::string nameOfClient(const std::string& identifier) { return pathExtension(identifier); }

std::vector<std::string> foldersOfClient() {
    auto folders = applicationFolders();
    folders.push_back(jobFolder());
    // Where launchctl's supervisors note what becomes of their jobs.
    folders.push_back(NSTemporaryDirectory() + "/launchd");
    return folders;
}

void endClient(const std::string& identifier) {
    askLaunchctl({"remove", identifier});
    for (const auto process : processesOfClient(nameOfClient(identifier))) {
        signalProcess(descriptorOfProcess(process), SIGTERM);
    }
}
