// killall NAME...: asks this user's processes of these programs to end; in a sandbox, only those
// whose program lies in it. Ends with status 1 when there is none of a name. A program is known by
// the path that was asked for, so that a script counts by its own name, as it does where the panel
// looks.

#include "System/Machine.h"
#include "System/SandboxMachine.h"

#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <span>
#include <string>

namespace {

bool endAll(const Machine& machine, const std::string& name) {
    bool found = false;
    for (const auto& process : machine.processes()) {
        found = (process.executablePath.ends_with("/" + name) &&
                 kill(process.processIdentifier, SIGTERM) == 0) ||
                found;
    }
    return found;
}

int run(std::span<char*> names) {
    const char* root = std::getenv("TESSALINE_ROOT");
    if (root != nullptr && *root != '\0') {
        Machine::install(std::make_shared<SandboxMachine>(root));
    }
    int status = EXIT_SUCCESS;
    for (const std::string name : names) {
        if (!endAll(Machine::current(), name)) {
            std::cerr << name << ": no process found\n";
            status = EXIT_FAILURE;
        }
    }
    return status;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argv[1][0] == '-') {
        std::cerr << "usage: killall NAME...\n";
        return EXIT_FAILURE;
    }
    try {
        return run(std::span(argv + 1, static_cast<std::size_t>(argc - 1)));
    } catch (const std::exception& exception) {
        std::cerr << "killall: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
