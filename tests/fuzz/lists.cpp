// Property lists of all three forms, and the interface report that one may be. Into the folder
// FUZZ_PAIRS, if set, go what was read and what was written of it, for another reader to compare.
#include "AsciiXML.h"
#include "Foundation/NSException.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "pane/InterfaceReport.h"
#include "Require.h"

#include <fstream>
#include <unistd.h>

namespace {

std::string rewritten(const std::string& bytes) {
    return dataFromPropertyList(propertyListFromData(bytes));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    PropertyList list(false);
    std::string written;
    try {
        list = propertyListFromData(bytes);
        written = dataFromPropertyList(list);
    } catch (
        const NSException&) { // refused, or with a zero character, which none can be written with
        return 0;
    }
    if (const char* folder = std::getenv("FUZZ_PAIRS")) {
        static int number = 0;
        const auto path =
            std::string(folder) + "/" + std::to_string(getpid()) + "-" + std::to_string(++number);
        std::ofstream(path + ".original", std::ios::binary) << bytes;
        std::ofstream(path + ".rewritten", std::ios::binary) << written;
    }
    require(rewritten(written) == written);
    require(written.starts_with("bplist") || rewritten(asciiXML(written)) == written);
    try {
        interfacesInReport(list);
    } catch (const NSException&) { // refused
    }
    return 0;
}
