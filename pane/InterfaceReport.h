// The report of system_profiler on the machine's network interfaces.
#pragma once

#include "Foundation/NSPropertyList.h"

/// One entry of the interface menu: its title, and the hardware address as it was reported.
struct NetworkInterface {
    std::string name;
    std::string macAddress;

    bool operator==(const NetworkInterface&) const = default;
};

/// The interfaces with a hardware address and a name, in the report's order. None, said on the
/// console, for a list that is no such report. Raises NSInvalidArgumentException for a value of the
/// wrong form.
std::optional<std::vector<NetworkInterface>> interfacesInReport(const PropertyList& report);
