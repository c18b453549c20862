// One of the machine's network interfaces, as the kernel tells it.
#pragma once

#include <string>
#include <vector>

struct KernelInterface {
    std::string name;            // "eth0"
    std::string hardwareAddress; // "02:fc:00:00:00:01"
    std::string kind;            // what a person calls it: "Ethernet", "Wi-Fi", "Bridge", …

    /// Those of this network namespace that have a hardware address, but for the loopback, in the
    /// kernel's order. Raises NSInternalInconsistencyException when the kernel does not answer.
    static std::vector<KernelInterface> all();
};
