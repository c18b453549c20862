// The settings, and the files that they are loaded from and saved to.
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

/// Only ever switches a control on or fills it; off and empty is how the layout file leaves it.
void show(const PropertyList* value, NSButton& check, bool onUnlessZero) {
    const auto number = value != nullptr ? value->number() : std::nullopt;
    if (onUnlessZero ? number != 0 : number == 1) {
        check.setState(1);
    }
}
void show(const PropertyList* value, NSTextField& field, bool) {
    const auto number = value != nullptr ? value->integer() : std::nullopt;
    if (number.value_or(0) > 0) {
        field.setStringValue(std::to_string(*number));
    }
}
void show(const PropertyList*, NSPopUpButton&, bool) {} // when the menu is filled

/// What is stored of a control; nothing where its key is to go.
std::optional<PropertyList> valueOf(const NSButton& check) { return check.state(); }
std::optional<PropertyList> valueOf(const NSTextField& field) {
    return integerValue(field.stringValue());
}
std::optional<PropertyList> valueOf(const NSPopUpButton& menu) {
    const auto chosen = menu.selectedItem();
    return chosen ? chosen->representedObject() : std::nullopt;
}

} // namespace

const std::vector<Tessaline_Network_ClientPref::Setting>& Tessaline_Network_ClientPref::settings() {
    using Pane = Tessaline_Network_ClientPref;
    static const std::vector<Setting> all = {
        {"autoUpdateCheck", &Pane::autoUpdateCheck, "autoUpdateCheck", Setting::client},
        {"preventUpdateDialogsCheck", &Pane::preventUpdateDialogsCheck, "SUCheckAtStartup",
         Setting::shared},
        {"showMenuBarIconCheck", &Pane::showMenuBarIconCheck, "showMenuBarIcon", Setting::client},
        {"enableMaintenanceCheck", &Pane::enableMaintenanceCheck, "enableMaintenanceRequests",
         Setting::client, &Pane::showMenuBarIconCheck},
        {"networkInterfacePopUp", &Pane::networkInterfacePopUp, "selectedMACAddress",
         Setting::network},
        {"networkCustomPortCheck", &Pane::networkCustomPortCheck, "customPortSet",
         Setting::network},
        {"networkCustomPortText", &Pane::networkCustomPortText, "customPort", Setting::network,
         &Pane::networkCustomPortCheck},
        {"networkDisableBonjour", &Pane::networkDisableBonjour, "disableBonjour", Setting::network},
    };
    return all;
}

std::string Tessaline_Network_ClientPref::settingsPath(const std::string& file) {
    return stringByAppendingPathComponent(preferencesFolder(), file);
}

void Tessaline_Network_ClientPref::loadSettings() {
    const auto own = dictionaryWithContentsOfFile(settingsPath(Tolvin::settingsFile));
    const auto shared = dictionaryWithContentsOfFile(settingsPath(Tolvin::globalSettingsFile));
    forEachSetting([&](auto& control, const Setting& setting) {
        const auto& settings = setting.kind == Setting::shared ? shared : own;
        show(settings ? settings->objectForKey(setting.key) : nullptr, *control,
             setting.needsClient());
    });
}

/// Stores what the controls of one of the two files show.
void Tessaline_Network_ClientPref::putSettings(NSDictionary& settings, bool shared) {
    forEachSetting([&](auto& control, const Setting& setting) {
        if ((setting.kind == Setting::shared) != shared) {
            return;
        }
        if (const auto value = valueOf(*control)) {
            settings.setObject(*value, setting.key);
        } else {
            settings.removeObjectForKey(setting.key);
        }
    });
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
    putSettings(settings, false);
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
        putSettings(*settings, true);
        writeDictionaryToFile(*settings, path);
    }
}

void Tessaline_Network_ClientPref::updateNetworkSettings(NSObject* sender) {
    savePrefs(sender);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(Tolvin::relaunch);
}
