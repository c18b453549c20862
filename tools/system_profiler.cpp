// system_profiler: what the machine is made of, as a property list. Of all the reports that go by
// this name, it makes the one on the network.

#include "AsciiXML.h"
#include "ConnectionNames.h"
#include "Foundation/NSException.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "KernelInterface.h"
#include "System/UTF8.h"

#include <algorithm>
#include <iostream>
#include <span>

namespace {

constexpr const char* networkDataType = "SPNetworkDataType";
constexpr const char* usage =
    "usage: system_profiler [DATATYPE...] -xml\n"
    "Prints a report for each data type, for all that are known if none is given.\n"
    "Known data types: SPNetworkDataType\n"
    "  -listDataTypes  print the known data types, one a line\n"
    "  --help          print this\n";

/// The kernel lets a name have bytes that no text may have.
std::string asText(std::string name) {
    const bool isText = isValidUTF8(name);
    std::replace_if(
        name.begin(), name.end(),
        [&](unsigned char byte) { return byte < ' ' || byte == 0x7f || (byte > 0x7f && !isText); },
        '?');
    return name;
}

NSDictionary networkReport() {
    const auto names = connectionNames();
    NSArray items;
    for (const auto& interface : KernelInterface::all()) {
        const auto named = names.find(interface.name);
        items.emplace_back(
            NSDictionary{{"_name", asText(named != names.end() ? named->second : interface.kind)},
                         {"interface", asText(interface.name)},
                         {"type", interface.kind},
                         {"Ethernet", NSDictionary{{"MAC Address", interface.hardwareAddress}}}});
    }
    return NSDictionary{{"_dataType", networkDataType}, {"_items", items}};
}

int fail(std::string_view message) {
    std::cerr << "system_profiler: " << message << '\n';
    return 1;
}

int run(std::span<char*> arguments) {
    bool xml = false, anyType = false, network = false;
    for (const std::string argument : arguments) {
        if (argument == "--help") {
            std::cout << usage;
            return 0;
        }
        if (argument == "-listDataTypes") {
            std::cout << networkDataType << '\n';
            return 0;
        }
        if (argument == "-xml") {
            xml = true;
        } else if (argument.empty() || argument.front() == '-') {
            return fail("unknown option \"" + argument + "\"\n" + usage);
        } else {
            anyType = true;
            network = network || argument == networkDataType;
        }
    }
    if (!xml) {
        return fail(std::string("reports are made with -xml only\n") + usage);
    }
    NSArray reports;
    if (network || !anyType) {
        reports.emplace_back(networkReport());
    }
    std::cout << asciiXML(xmlDataFromPropertyList(reports)) << std::flush;
    return std::cout ? 0 : fail("the report could not be written");
}

} // namespace

int main(int argc, char** argv) {
    try {
        return run(std::span(argv + 1, static_cast<std::size_t>(argc > 0 ? argc - 1 : 0)));
    } catch (const std::exception& exception) {
        return fail(exception.what());
    }
}
