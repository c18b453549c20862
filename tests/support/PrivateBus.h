// A real message bus of the test's own, with the limits of a login's session bus.
#pragma once

#include "support/TemporaryDirectory.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <utility>

class PrivateBus {
public:
    PrivateBus() { start(); }
    ~PrivateBus() { kill(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Returns once the bus takes connections; at the same address every time.
    void start() {
        // With the limits of a bus that sets none.
        std::ofstream(directory.path() + "/conf")
            << "<busconfig><listen>" << address() << "</listen><policy context='default'>"
            << "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/>"
            << "<allow own='*'/></policy></busconfig>";
        // A test that crashes leaves no bus behind.
        const std::string command = "cd " + directory.path() +
                                    " && rm -f bus && exec setpriv --pdeathsig KILL dbus-daemon "
                                    "--nofork --print-address=1 --print-pid=1 --config-file=conf "
                                    "2>/dev/null";
        output = popen(command.c_str(), "re");
        // It prints its address and its number when it listens there.
        if (output == nullptr || std::fscanf(output, "%*s %d", &process) != 1) {
            throw std::runtime_error("dbus-daemon does not start");
        }
    }
    /// Ends it as a crash would.
    void kill() {
        if (output != nullptr) {
            signal(SIGKILL);
            pclose(std::exchange(output, nullptr));
        }
    }
    /// Sends it a signal: SIGSTOP for a bus that hangs, SIGCONT for its recovery.
    void signal(int number) const { ::kill(process, number); }

    int processID() const { return process; }
    std::string address() const { return "unix:path=" + directory.path() + "/bus"; }

private:
    TemporaryDirectory directory;
    FILE* output = nullptr; // none while no bus runs
    int process = 0;
};
