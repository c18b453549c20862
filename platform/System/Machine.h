// The seam between this program and the machine it runs on. Whoever wants to know who the user is,
// where a folder lies, what time it is or how to start a program asks Machine::current(). The real
// one is RealMachine; a sandbox (SandboxMachine) and the tests put another one in its place.
#pragma once

#include "System/Clock.h"
#include "System/LaunchedProcess.h"
#include "System/LaunchRequest.h"
#include "System/ProcessList.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// How administrator rights are had: from the system's own authority, always, or never. With
/// `grant` the tools run as the current user.
enum class AuthorizationMode { system, grant, deny };

/// Every operation may be called from any thread.
class Machine {
public:
    Machine() = default;
    virtual ~Machine() = default;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// The machine in force; the real one unless another was installed.
    static Machine& current();
    /// Installs another machine, or the real one again for none. Before other threads start.
    static void install(std::shared_ptr<Machine> machine);

    /// The machine's own clock, unless one was put in its place.
    virtual Clock& clock() { return Clock::current(); }
    virtual uid_t realUserID() const = 0;
    /// Short name of the user that this process runs for.
    virtual std::string userName() const = 0;
    /// Short name of the user at the console, "loginwindow" for a greeter, none for nobody.
    virtual std::optional<std::string> consoleUser() const = 0;
    virtual std::string homeDirectory() const = 0;
    /// None for an unknown user.
    virtual std::optional<std::string> homeDirectoryForUser(const std::string& name) const = 0;
    /// Where the machine-wide folders ("Library", "Applications") lie: "" for the disk's own root.
    virtual std::string root() const = 0;
    /// The user's own folder for temporary files, without a trailing separator; made if missing.
    /// Raises std::system_error when others could have prepared it.
    virtual std::string temporaryDirectory() const = 0;
    /// The login user's processes.
    virtual std::vector<RunningProcess> processes() const = 0;
    /// The program that stands for a tool's path: the path under root(); for a path in one of the
    /// Mac's folders of tools our stand-in of that name; the path itself; for such a path the
    /// machine's program of that name. Empty when there is none.
    virtual std::string programForTool(const std::string& path) const = 0;
    /// Starts a program by its real path. Raises std::system_error when it cannot be.
    virtual std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request) = 0;
    virtual AuthorizationMode authorizationMode() const = 0;
    /// Address of the session bus; empty when there is none.
    virtual std::string sessionBusAddress() const = 0;
    /// Writes one whole line, without its line feed, to the system log.
    virtual void console(std::string_view line) = 0;
};
