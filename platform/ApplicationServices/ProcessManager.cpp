#include "ApplicationServices/ProcessManager.h"

#include "System/Machine.h"

namespace {

/// The walk's processes; a serial number's low half is a place in it, counted from 1. Reading the
/// whole list anew for every step would take time with the square of its length.
std::vector<RunningProcess>& walk() {
    thread_local std::vector<RunningProcess> processes;
    return processes;
}

} // namespace

OSErr GetNextProcess(ProcessSerialNumber* process) {
    if (process->lowLongOfPSN == 0) {
        walk() = Machine::current().processes();
    }
    if (process->lowLongOfPSN >= walk().size()) {
        return procNotFound;
    }
    ++process->lowLongOfPSN;
    return noErr;
}

std::optional<NSDictionary> ProcessInformationCopyDictionary(const ProcessSerialNumber* process,
                                                             std::uint32_t /*infoToReturn*/) {
    const std::uint32_t place = process->lowLongOfPSN;
    if (place == 0 || place > walk().size()) {
        return std::nullopt;
    }
    return NSDictionary{{"CFBundleExecutable", walk()[place - 1].executablePath}};
}
