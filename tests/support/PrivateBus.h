// A real message bus of the test's own, with the limits of a login's session bus.
#pragma once

#include "support/TemporaryDirectory.h"

#include <cstdio>

class PrivateBus {
public:
    PrivateBus() { start(); }
    ~PrivateBus() { kill(); }
    PrivateBus(const PrivateBus&) = delete;
    PrivateBus& operator=(const PrivateBus&) = delete;

    /// Returns once the bus takes connections; at the same address every time.
    void start();
    /// Ends it as a crash would.
    void kill();
    /// Sends it a signal: SIGSTOP for a bus that hangs, SIGCONT for its recovery.
    void signal(int number) const;

    int processID() const { return process; }

    std::string address() const { return "unix:path=" + directory.path() + "/bus"; }

private:
    TemporaryDirectory directory;
    FILE* output = nullptr; // none while no bus runs
    int process = 0;
};
