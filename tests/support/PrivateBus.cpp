#include "support/PrivateBus.h"

#include <csignal>
#include <fstream>
#include <stdexcept>
#include <utility>

void PrivateBus::start() {
    // With the limits of a bus that sets none.
    std::ofstream(directory.path() + "/conf")
        << "<busconfig><listen>" << address() << "</listen><policy context='default'>"
        << "<allow send_destination='*' eavesdrop='true'/><allow eavesdrop='true'/><allow own='*'/>"
        << "</policy></busconfig>";
    // A test that crashes leaves no bus behind.
    const std::string command = "rm -f " + directory.path() +
                                "/bus; exec setpriv --pdeathsig KILL dbus-daemon "
                                "--nofork --print-address=1 --print-pid=1 --config-file=" +
                                directory.path() + "/conf 2>/dev/null";
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
