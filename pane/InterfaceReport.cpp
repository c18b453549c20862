#include "pane/InterfaceReport.h"

#include "Foundation/NSException.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSString.h"

namespace {

/// The entry under a key in one form; none when it is missing or of another form.
const NSArray* arrayUnder(const NSDictionary& dictionary, const std::string& key) {
    const PropertyList* value = dictionary.objectForKey(key);
    return value != nullptr ? value->array() : nullptr;
}

const std::string& textOf(const PropertyList& value, const std::string& key) {
    if (const std::string* text = value.string()) {
        return *text;
    }
    throw NSException(NSInvalidArgumentException, "The value of \"" + key + "\" is no text");
}

const NSDictionary& dictionaryOf(const PropertyList& value, const std::string& key) {
    if (const NSDictionary* dictionary = value.dictionary()) {
        return *dictionary;
    }
    throw NSException(NSInvalidArgumentException, "The value of \"" + key + "\" is no dictionary");
}

/// One service of the report; none when it has no hardware address or no name.
std::optional<NetworkInterface> interfaceOf(const PropertyList& service) {
    const NSDictionary* entry = service.dictionary();
    const PropertyList* ethernet = entry ? entry->objectForKey("Ethernet") : nullptr;
    if (ethernet == nullptr) {
        return std::nullopt;
    }
    const PropertyList* address = dictionaryOf(*ethernet, "Ethernet").objectForKey("MAC Address");
    const PropertyList* name = entry->objectForKey("_name");
    if (address == nullptr || name == nullptr) {
        return std::nullopt;
    }
    auto title = textOf(*name, "_name");
    if (const PropertyList* interface = entry->objectForKey("interface")) {
        title += stringWithFormat(" - %@", textOf(*interface, "interface"));
    }
    return NetworkInterface{title, textOf(*address, "MAC Address")};
}

std::optional<std::vector<NetworkInterface>> refuse(const char* message) {
    NSLog("%@", message);
    return std::nullopt;
}

} // namespace

std::optional<std::vector<NetworkInterface>> interfacesInReport(const PropertyList& report) {
    const NSArray* sections = report.array();
    if (sections == nullptr) {
        return refuse("Error 1 - Invalid system profile data");
    }
    const NSDictionary* section = sections->empty() ? nullptr : sections->front().dictionary();
    if (section == nullptr) {
        return refuse("Error 3 - Invalid system profile data");
    }
    const PropertyList* type = section->objectForKey("_dataType");
    const NSArray* services = arrayUnder(*section, "_items");
    if (type == nullptr || *type != PropertyList("SPNetworkDataType") || services == nullptr) {
        return refuse("Invalid system profile data format");
    }
    std::vector<NetworkInterface> interfaces;
    for (const PropertyList& service : *services) {
        if (auto interface = interfaceOf(service)) {
            interfaces.push_back(std::move(*interface));
        }
    }
    return interfaces;
}
