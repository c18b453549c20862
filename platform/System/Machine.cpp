#include "System/Machine.h"

#include "System/RealMachine.h"

namespace {

std::shared_ptr<Machine>& installed() {
    static std::shared_ptr<Machine> machine;
    return machine;
}

} // namespace

Machine& Machine::current() {
    // Never destroyed: the last lines of the program's end still need it.
    static auto& real = *new RealMachine;
    return installed() ? *installed() : real;
}

void Machine::install(std::shared_ptr<Machine> machine) {
    Clock::install(nullptr);
    if (machine) {
        Clock::install(&machine->clock());
    }
    installed() = std::move(machine);
}
