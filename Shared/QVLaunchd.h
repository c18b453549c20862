// Installs, loads, unloads and removes launchd jobs. A job is a property list in a LaunchAgents or
// LaunchDaemons folder, named after its label; launchd itself is driven through /bin/launchctl.
// Where the user may not write the folder, it is done with administrator rights.
//
// Nothing here keeps state. Every operation blocks its thread: for external tools, pauses, and
// alerts that wait for the user. Not for the main thread. What the tools say is not looked at.
#pragma once

#include "Foundation/NSPropertyList.h"

#include <optional>
#include <string>

class QVLaunchd {
public:
    struct Install {
        const NSDictionary& settings; // written to the job file as it stands
        bool user = false;            // in the user's Library, else in the one that all users share
        bool launchAgent = false;     // a LaunchAgent, else a LaunchDaemon
        bool shouldAuth = false;      // set owner and mode with administrator rights
        std::optional<std::string> killProcessName = {}; // of a process to end before the load
    };
    struct Place {
        bool user = false;
        bool launchAgent = false;
        bool shouldAuth = false; // delete the job file with administrator rights if need be
    };

    static constexpr const char* launchctlPath = "/bin/launchctl";
    static constexpr const char* killallPath = "/usr/bin/killall";
    static constexpr double launchctlTimeout = 10; // seconds, to load or unload a job

    QVLaunchd() = delete;

    /// Writes the job file in the place of an older one, sets its mode, and its owner in the shared
    /// Library, and has launchd load it. False when the file cannot be written, which the user is
    /// told by then.
    static bool startJob(const std::string& label, const Install& job);
    /// The same for a LaunchAgent, with administrator rights only where the folder asks for them.
    static bool startLaunchAgent(const std::string& label, const NSDictionary& settings, bool user);
    /// Has launchd unload the job and forget its label.
    static void stopJob(const std::string& label, const Place& place);
    /// Stops the job and deletes its file. Tells the user when the file stays although the rights
    /// to delete it were to be used.
    static void removeJob(const std::string& label, const Place& place);
    static void removeLaunchAgent(const std::string& label, bool user);
    /// Whether launchd runs the job, or has it loaded and will start it again after a failure: it
    /// then needs no start by another hand.
    static bool isJobKept(const std::string& label);
};
