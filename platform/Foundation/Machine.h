// The seam between this layer and the machine it runs on. Whoever wants to know who the user is,
// where a folder lies, what time it is or how to start a program asks Machine::current(); a sandbox
// and the tests put a machine of their own there.
#pragma once

#include "Foundation/Clock.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

/// How administrator rights are had: from the system's own authority, always, or never. With
/// `grant` the tools run as the current user.
enum class AuthorizationMode { system, grant, deny };

/// What to start. An argument list excludes the program's own name. Descriptors of -1 mean the null
/// device for output and inheritance for input.
struct LaunchRequest {
    std::string launchPath;
    std::vector<std::string> arguments;
    int standardInput = -1;
    int standardOutput = -1;
    int standardError = -1;
    std::string workingDirectory;
};

/// A started program. Every operation may be called from any thread.
class LaunchedProcess {
public:
    virtual ~LaunchedProcess() = default;
    virtual pid_t processIdentifier() const = 0;
    virtual bool isRunning() = 0;
    /// The exit status, or the number of the signal that ended it. 0 while it runs.
    virtual int terminationStatus() = 0;
    /// Signals the program and everything that it started in its process group. Does nothing once
    /// it has ended.
    virtual void signal(int number) = 0;
    /// Blocks until the program has ended; on the main thread it serves the main run loop
    /// meanwhile.
    virtual void waitUntilExit() = 0;
    /// Readable once the program has ended; -1 when its end can only be waited for.
    virtual int exitDescriptor() const { return -1; }
};

struct RunningProcess {
    pid_t processIdentifier = 0;
    std::string executablePath;
};

class Machine {
public:
    Machine();
    virtual ~Machine();
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// The machine in force; the real one unless another was installed.
    static Machine& current();
    /// Installs another machine, or the real one again for none. Before other threads start.
    static void install(std::shared_ptr<Machine> machine);

    virtual Clock& clock();
    virtual uid_t realUserID() const;
    /// Short name of the user that this process runs for.
    virtual std::string userName() const;
    /// Short name of the user at the console, "loginwindow" for a greeter, none for nobody.
    virtual std::optional<std::string> consoleUser() const;
    virtual std::string homeDirectory() const;
    /// None for an unknown user.
    virtual std::optional<std::string> homeDirectoryForUser(const std::string& name) const;
    /// Where the machine-wide folders ("Library", "Applications") lie: "" for the disk's own root.
    virtual std::string root() const;
    /// The user's own folder for temporary files, without a trailing separator; made if missing.
    /// One in the home folder where others have taken its name; raises when that fails, too.
    std::string temporaryDirectory() const;
    /// The login user's processes.
    virtual std::vector<RunningProcess> processes() const;
    /// The program that stands for a tool's path: the path under root(), our stand-in of that name,
    /// the path itself, the machine's program of that name. Empty when there is none.
    virtual std::string programForTool(const std::string& path) const;
    /// Starts a program by its real path. Raises NSInvalidArgumentException when it cannot be.
    virtual std::unique_ptr<LaunchedProcess> launch(const LaunchRequest& request);
    virtual AuthorizationMode authorizationMode() const;
    /// Address of the session bus; empty when there is none.
    virtual std::string sessionBusAddress() const;
    /// Writes one whole line, without its line feed, to the system log. Any thread.
    virtual void console(std::string_view line);

protected:
    virtual std::string temporaryPath() const;
};

/// A machine whose whole Mac-shaped disk lies under one folder: `root/Library`,
/// `root/Applications`, `root/Users/<user>/Library` and so on. Processes are those that run from
/// inside that folder.
class SandboxMachine : public Machine {
public:
    explicit SandboxMachine(std::string root, AuthorizationMode mode = AuthorizationMode::grant);

    std::optional<std::string> consoleUser() const override;
    std::string homeDirectory() const override;
    std::optional<std::string> homeDirectoryForUser(const std::string& name) const override;
    std::string root() const override { return rootPath; }
    std::vector<RunningProcess> processes() const override;
    AuthorizationMode authorizationMode() const override { return mode; }

protected:
    std::string temporaryPath() const override;

private:
    std::string rootPath;
    AuthorizationMode mode;
};
