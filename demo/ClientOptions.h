// How the demo client is to behave: well, or badly in one of the ways that a panel has to live
// with.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct ClientOptions {
    double slow = 0;                  // seconds between a status and its being told
    bool silent = false;              // tells nobody anything
    std::optional<double> crashAfter; // seconds from the start
    long flood = 0;                   // further statuses before each answer
    std::string root;                 // the sandbox's folder, when given
    bool help = false;

    /// What a client can be told on its command line, for people.
    static const char* usage();
    /// Raises NSInvalidArgumentException for what it does not know.
    static ClientOptions fromArguments(const std::vector<std::string>& arguments);
    /// The same with the keys "slow", "silent", "crashAfter" and "flood" of a property list, for a
    /// client that a job starts; what the command line says goes before. A missing file says
    /// nothing.
    ClientOptions completedFromFile(const std::string& path) const;
};
