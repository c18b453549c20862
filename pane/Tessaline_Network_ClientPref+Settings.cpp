// Loading and saving the settings files.
#include "AppKit/NSApplication.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyList.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"
#include "Shared/QVAlert.h"
#include "Shared/QVAuthorization.h"
#include "Shared/QVLocalPaths.h"

namespace {

constexpr double moveTime = 2; // seconds that a privileged move may take

std::string preferencesFolder() { return QVLocalPaths::prefsDirectory(true).value_or("/"); }

std::optional<double> numberUnder(const NSDictionary& settings, const std::string& key) {
    const PropertyList* value = settings.objectForKey(key);
    return value != nullptr ? value->number() : std::nullopt;
}

} // namespace

std::string Tessaline_Network_ClientPref::settingsPath(const std::string& file) {
    return stringByAppendingPathComponent(preferencesFolder(), file);
}

/// Only ever switches controls on; off is how the layout file leaves them.
void Tessaline_Network_ClientPref::loadSettings() {
    const auto settings =
        dictionaryWithContentsOfFile(settingsPath(Tolvin::settingsFile)).value_or(NSDictionary());
    const auto setUnlessZero = [](NSButton* check, const NSDictionary& from,
                                  const std::string& key) {
        if (numberUnder(from, key) != 0) {
            check->setState(1);
        }
    };
    const auto setIfOne = [&](NSButton* check, const std::string& key) {
        if (numberUnder(settings, key) == 1) {
            check->setState(1);
        }
    };
    setUnlessZero(autoUpdateCheck, settings, "autoUpdateCheck");
    setUnlessZero(showMenuBarIconCheck, settings, "showMenuBarIcon");
    setUnlessZero(enableMaintenanceCheck, settings, "enableMaintenanceRequests");
    const auto shared = dictionaryWithContentsOfFile(settingsPath(Tolvin::globalSettingsFile));
    setUnlessZero(preventUpdateDialogsCheck, shared.value_or(NSDictionary()), "SUCheckAtStartup");
    setIfOne(networkCustomPortCheck, "customPortSet");
    const PropertyList* port = settings.objectForKey("customPort");
    if (const auto number = port ? port->integer() : std::nullopt; number.value_or(0) > 0) {
        networkCustomPortText->setStringValue(std::to_string(*number));
    }
    setIfOne(networkDisableBonjour, "disableBonjour");
}

void Tessaline_Network_ClientPref::savePrefs(NSObject*) {
    bool saved = false;
    reporting("-[Tessaline_Network_ClientPref savePrefs:]", [&] { saved = writeClientSettings(); });
    if (!saved) {
        alertOfPreferences();
        return;
    }
    writeGlobalSettings();
    updateEnabledStatus(false);
}

/// Straight into the Preferences folder or, where the user may not write there, through the
/// temporary folder and a move with administrator rights.
bool Tessaline_Network_ClientPref::writeClientSettings() {
    const auto path = settingsPath(Tolvin::settingsFile);
    const std::lock_guard lock(settingsMutex);
    auto settings = dictionaryToChangeAtPath(path);
    settings.setObject(autoUpdateCheck->state(), "autoUpdateCheck");
    settings.setObject(showMenuBarIconCheck->state(), "showMenuBarIcon");
    settings.setObject(enableMaintenanceCheck->state(), "enableMaintenanceRequests");
    const auto chosen = networkInterfacePopUp->selectedItem();
    if (const auto address = chosen ? chosen->representedObject() : std::nullopt) {
        settings.setObject(*address, "selectedMACAddress");
    } else {
        settings.removeObjectForKey("selectedMACAddress");
    }
    settings.setObject(networkCustomPortCheck->state(), "customPortSet");
    settings.setObject(integerValue(networkCustomPortText->stringValue()), "customPort");
    settings.setObject(networkDisableBonjour->state(), "disableBonjour");
    NSFileManager::defaultManager().createDirectoryAtPath(preferencesFolder());
    return writeDictionaryToFile(settings, path) || moveSettingsWithRights(settings);
}

/// The move is not waited for; what it did is looked at a moment later.
bool Tessaline_Network_ClientPref::moveSettingsWithRights(const NSDictionary& settings) {
    const auto temporary =
        stringByAppendingPathComponent(QVLocalPaths::tempDirectory(), Tolvin::settingsFile);
    // Whatever it is: a link would be followed.
    NSFileManager::defaultManager().removeItemAtPath(temporary);
    if (!writeDictionaryToFile(settings, temporary) ||
        !QVAuthorization::sharedController().authMoveFile(temporary, preferencesFolder())) {
        return false;
    }
    NSTimer::scheduledTimer(
        moveTime, weak_from_this(),
        [this, temporary] {
            if (NSFileManager::defaultManager().removeItemAtPath(temporary)) {
                alertOfPreferences();
            }
        },
        false);
    return true;
}

void Tessaline_Network_ClientPref::alertOfPreferences() {
    QVAlert::alertSheetWithMessageText(
        "Unable to write preferences",
        stringWithFormat("Please check the permissions for the directory %@.", preferencesFolder()),
        NSApplication::sharedApplication().mainWindow());
}

/// The file is the maker's other applications' as well: changed where it is there, never made.
void Tessaline_Network_ClientPref::writeGlobalSettings() {
    const auto path = settingsPath(Tolvin::globalSettingsFile);
    auto settings = dictionaryWithContentsOfFile(path);
    if (settings) {
        settings->setObject(preventUpdateDialogsCheck->state(), "SUCheckAtStartup");
        writeDictionaryToFile(*settings, path);
    }
}

void Tessaline_Network_ClientPref::updateNetworkSettings(NSObject* sender) {
    savePrefs(sender);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(Tolvin::relaunch);
}
