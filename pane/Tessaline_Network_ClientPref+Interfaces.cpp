// The machine's network interfaces, and the menu in which one is chosen.
#include "Foundation/NSException.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"
#include "Shared/QVException.h"
#include "Shared/QVTask.h"

namespace {

constexpr double profilerTimeOut = 10.0; // seconds

} // namespace

std::optional<std::vector<NetworkInterface>> Tessaline_Network_ClientPref::networkInterfaces() {
    try {
        const auto report = QVTask::stringFromTask("/usr/sbin/system_profiler",
                                                   {"SPNetworkDataType", "-xml"}, profilerTimeOut);
        if (!report) {
            NSLog("Unable to get system profile data");
            return std::nullopt;
        }
        return interfacesInReport(propertyListFromData(*report));
    } catch (const NSException& exception) {
        QVException::logException(exception, "-[Tessaline_Network_ClientPref networkInterfaces]");
        return std::nullopt;
    }
}

void Tessaline_Network_ClientPref::populateNetworkInterfaces() {
    const auto interfaces = networkInterfaces();
    const auto settings = dictionaryWithContentsOfFile(settingsPath(Tolvin::settingsFile));
    const auto saved = settings ? settings->stringForKey("selectedMACAddress") : std::nullopt;
    networkInterfacePopUp->removeAllItems();
    networkInterfacePopUp->addItemWithTitle("Any (recommended)");
    for (const auto& interface : interfaces.value_or(std::vector<NetworkInterface>())) {
        const auto item = std::make_shared<NSMenuItem>(interface.name, nullptr);
        item->setRepresentedObject(interface.macAddress);
        networkInterfacePopUp->menu().addItem(item);
        if (interface.macAddress == saved) {
            networkInterfacePopUp->selectItem(*item);
        }
    }
}
