#include "support/PrivateBus.h"

#include <csignal>
#include <stdexcept>
#include <utility>

void PrivateBus::start() {
    // A test that crashes leaves no bus behind.
    const std::string command = "rm -f " + directory.path() +
                                "/bus; exec setpriv --pdeathsig KILL dbus-daemon --session "
                                "--nofork --print-address=1 --print-pid=1 --address=" +
                                address() + " 2>/dev/null";
    output = popen(command.c_str(), "re");
    // It prints its address and its number when it listens there.
    if (output == nullptr || std::fscanf(output, "%*s %d", &process) != 1) {
        throw std::runtime_error("dbus-daemon does not start");
    }
}

void PrivateBus::kill() {
    if (output != nullptr) {
        signal(SIGKILL);
        pclose(std::exchange(output, nullptr));
    }
}

void PrivateBus::signal(int number) const { ::kill(process, number); }
