#include "KernelInterface.h"

#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSString.h"
#include "System/FileDescriptor.h"
#include "System/FileReading.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <linux/if_arp.h>
#include <linux/rtnetlink.h>
#include <optional>
#include <span>
#include <string_view>
#include <sys/socket.h>

namespace {

/// Tunnels and the like, whose "address" is a network one or nothing at all.
constexpr std::array typesWithoutHardwareAddress{
    ARPHRD_LOOPBACK, ARPHRD_TUNNEL, ARPHRD_TUNNEL6, ARPHRD_SIT,  ARPHRD_IPGRE,
    ARPHRD_IP6GRE,   ARPHRD_PPP,    ARPHRD_NONE,    ARPHRD_VOID, ARPHRD_RAWIP};

constexpr std::array<std::pair<std::string_view, const char*>, 15> titlesOfKinds{{
    {"bridge", "Bridge"},
    {"openvswitch", "Bridge"},
    {"veth", "Virtual Ethernet"},
    {"tun", "Virtual Ethernet"},
    {"macvlan", "Virtual Ethernet"},
    {"macvtap", "Virtual Ethernet"},
    {"ipvlan", "Virtual Ethernet"},
    {"dummy", "Dummy"},
    {"vlan", "VLAN"},
    {"vxlan", "VXLAN"},
    {"bond", "Bond"},
    {"team", "Team"},
    // What the kernel's driver model says of real devices.
    {"wlan", "Wi-Fi"},
    {"wwan", "Mobile Broadband"},
    {"bluetooth", "Bluetooth"},
}};

/// Calls `use` with every attribute of a run of them.
template <class Use>
void forEachAttribute(const rtattr* first, std::size_t length, Use use) {
    int left = static_cast<int>(length);
    for (const rtattr* each = first; RTA_OK(each, left); each = RTA_NEXT(each, left)) {
        const auto* bytes = static_cast<const unsigned char*>(RTA_DATA(each));
        use(each, std::span<const unsigned char>(bytes, RTA_PAYLOAD(each)));
    }
}

std::string textOf(std::span<const unsigned char> bytes) {
    const std::string text(bytes.begin(), bytes.end());
    return text.substr(0, text.find('\0'));
}

std::string addressOf(std::span<const unsigned char> bytes) {
    std::string address;
    for (const unsigned char byte : bytes) {
        address += stringWithFormat(address.empty() ? "%02x" : ":%02x", byte);
    }
    return address;
}

/// "wlan" and the like for real devices that are more than plain ones.
std::string deviceType(const std::string& name) {
    static constexpr std::string_view key = "DEVTYPE=";
    const auto facts = contentsOfFile("/sys/class/net/" + name + "/uevent").value_or("");
    const auto start = facts.find(key);
    if (start == std::string::npos) {
        return "";
    }
    return facts.substr(start + key.size(), facts.find('\n', start) - start - key.size());
}

std::string titleOf(const std::string& name, const std::string& kind, unsigned short type) {
    const auto wanted = kind.empty() ? deviceType(name) : kind;
    for (const auto& [known, title] : titlesOfKinds) {
        if (known == wanted) {
            return title;
        }
    }
    return type == ARPHRD_INFINIBAND ? "InfiniBand" : kind.empty() ? "Ethernet" : "Virtual";
}

/// None for an interface that the report leaves out.
std::optional<KernelInterface> readLink(const nlmsghdr& message) {
    const auto* link = static_cast<const ifinfomsg*>(NLMSG_DATA(&message));
    if (std::ranges::count(typesWithoutHardwareAddress, link->ifi_type) != 0) {
        return std::nullopt;
    }
    KernelInterface found;
    std::string kind;
    forEachAttribute(IFLA_RTA(link), IFLA_PAYLOAD(&message), [&](const rtattr* each, auto bytes) {
        if (each->rta_type == IFLA_IFNAME) {
            found.name = textOf(bytes);
        } else if (each->rta_type == IFLA_ADDRESS) {
            found.hardwareAddress = addressOf(bytes);
        } else if (each->rta_type == IFLA_LINKINFO) {
            forEachAttribute(static_cast<const rtattr*>(RTA_DATA(each)), bytes.size(),
                             [&](const rtattr* inner, auto innerBytes) {
                                 if (inner->rta_type == IFLA_INFO_KIND) {
                                     kind = textOf(innerBytes);
                                 }
                             });
        }
    });
    if (found.hardwareAddress.empty()) {
        return std::nullopt;
    }
    found.kind = titleOf(found.name, kind, link->ifi_type);
    return found;
}

[[noreturn]] void raise(const std::string& what) {
    throw NSException(NSInternalInconsistencyException,
                      stringWithFormat("%@: %@", what, std::strerror(errno)));
}

FileDescriptor askForLinks() {
    FileDescriptor kernel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    struct {
        nlmsghdr header;
        ifinfomsg link;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETLINK;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.link.ifi_family = AF_UNSPEC;
    if (!kernel || ::send(kernel.get(), &request, sizeof request, 0) < 0) {
        raise("The kernel cannot be asked for the network interfaces");
    }
    return kernel;
}

} // namespace

std::vector<KernelInterface> KernelInterface::all() {
    const FileDescriptor kernel = askForLinks();
    std::vector<KernelInterface> interfaces;
    // No part of the kernel's answer is larger.
    alignas(nlmsghdr) std::array<char, 65536> buffer{};
    for (;;) {
        const auto length = recv(kernel.get(), buffer.data(), buffer.size(), 0);
        if (length <= 0) {
            raise("The kernel does not tell the network interfaces");
        }
        auto left = static_cast<std::size_t>(length);
        for (auto* message = reinterpret_cast<nlmsghdr*>(buffer.data()); NLMSG_OK(message, left);
             message = NLMSG_NEXT(message, left)) {
            if (message->nlmsg_type == NLMSG_DONE) {
                return interfaces;
            }
            if (message->nlmsg_type == NLMSG_ERROR) {
                errno = -static_cast<const nlmsgerr*>(NLMSG_DATA(message))->error;
                raise("The kernel does not tell the network interfaces");
            }
            if (auto found = readLink(*message)) {
                interfaces.push_back(std::move(*found));
            }
        }
    }
}
