// What keeps the pane's client from being turned on or off, or makes the pane show what is not so.
#pragma once

#include <optional>
#include <QString>
#include <string>
#include <sys/types.h>

struct Trouble {
    enum class Kind {
        noSessionBus,
        noPolkit,
        noClient,
        noProgram,
        jobFails,
        clientEnded,
        notLoaded,
        clientStays
    };
    Kind kind;
    QString text; // what is wrong and what to do about it
};

/// What is known before a look at the machine.
struct ClientState {
    std::string identifier; // the client's bundle's, and its job's label
    bool isShownOn = false; // by the pane's switch
    bool wasSeen = false;   // its process, since the job file came
    bool hasSessionBus = true;
    bool jobFailed = false; // at the last look, and no process has lived long since
};

struct Finding {
    std::optional<Trouble> trouble; // the one that has to go first
    pid_t process = 0;              // the client's; 0 when it does not run
};

/// Any thread; waits for disk, bus and launchctl.
Finding lookForTrouble(const ClientState& state);

/// "Tolvin": what its process and people call a client.
std::string nameOfClient(const std::string& identifier);
/// The folders whose changes may bring a trouble or take one away.
std::vector<std::string> foldersOfClient();
/// Ends a client that nothing keeps any more, and its job. Any thread; waits for launchctl.
void endClient(const std::string& identifier);
