// A launchd job as its file defines it.
#pragma once

#include <chrono>
#include <string>
#include <vector>

/// Beyond the keys of the pane's own job it knows those that a job file of an administrator's in
/// the same folder uses to run a program with arguments and to bound its restarts and its end;
/// launchctl loads the whole folder at login.
struct Job {
    /// After which ends the program is started again.
    enum class Restart { never, always, afterFailure, afterSuccess };

    std::string label;
    std::string program;                // absolute
    std::vector<std::string> arguments; // the program's own name first
    std::string workingDirectory;       // absolute; empty for none
    bool isSuperusers = false;          // the file, whoever loads it
    bool startsOnLoad = false;
    Restart restart = Restart::never;
    std::chrono::seconds throttleInterval{10}; // at least so long between two starts
    std::chrono::seconds exitTimeOut{20};      // from the termination signal to the kill
    /// What the file asks for and this launchd leaves out, a sentence each.
    std::vector<std::string> warnings;

    /// Whether to start it again after an exit status, a negative one being the signal that ended
    /// it.
    bool restartsAfter(int status) const;
    /// Reads a job file. Raises with a sentence that names the file when it cannot be read, is no
    /// job, or could have been written by somebody else than its owner, the superuser or this user.
    static Job readFile(const std::string& path);
    /// "NAME=VALUE": what a job is given of the environment of the session that loads it.
    static std::vector<std::string> environment();
};
