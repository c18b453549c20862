#include "pane/Tessaline_Network_ClientPref.h"

#include "Foundation/NSBundle.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSString.h"
#include "Foundation/NSThread.h"
#include "pane/Tolvin.h"
#include "Shared/QVException.h"
#include "Shared/QVLocalPaths.h"

#include <algorithm>
#include <array>
#include <utility>

NS_PRINCIPAL_CLASS(Tessaline_Network_ClientPref)

Tessaline_Network_ClientPref::Tessaline_Network_ClientPref() {
    outlet("versionLabel", versionLabel);
    outlet("statusLabel", statusLabel);
    outlet("statusSpinner", statusSpinner);
    outlet("masterOffLabel", masterOffLabel);
    outlet("masterSwitch", masterSwitch);
    outlet("masterOnLabel", masterOnLabel);
    forEachSetting(
        [this](auto& control, const Setting& setting) { outlet(setting.outlet, control); });

    action("savePrefs:", [this](NSObject* sender) { savePrefs(sender); });
    action("updateNetworkSettings:", [this](NSObject* sender) { updateNetworkSettings(sender); });
    action("showHideMenuBarIcon:", [this](NSObject* sender) { showHideMenuBarIcon(sender); });
    action("enableDisableMaintenance:",
           [this](NSObject* sender) { enableDisableMaintenance(sender); });
}

Tessaline_Network_ClientPref::~Tessaline_Network_ClientPref() {
    for (const auto& timer : {statusTimer, messageTimer}) {
        if (timer) {
            timer->invalidate();
        }
    }
    NSDistributedNotificationCenter::defaultCenter().removeObserver(
        static_cast<NSPreferencePane*>(this), Tolvin::statusUpdate);
    if (masterSwitch != nullptr) {
        masterSwitch->removeObserver(*this, "on");
    }
}

void Tessaline_Network_ClientPref::mainViewDidLoad() {
    isLoading = true;
    if (NSFileManager::defaultManager().fileExistsAtPath(clientJobFile()) &&
        isProcessRunning(Tolvin::processName)) {
        showLocalStatus("Connected");
    }
    fetchCurrentStatus();
    loadSettings();
    updateEnabledStatus();
    NSDistributedNotificationCenter::defaultCenter().addObserver(
        shared_from_this(), Tolvin::statusUpdate,
        [this](const NSNotification& notification) { updateStatus(notification); });
    startStatusPoll();
    masterOffLabel->setBackgroundStyle(NSBackgroundStyleRaised);
    masterOnLabel->setBackgroundStyle(NSBackgroundStyleRaised);
    versionLabel->setStringValue(clientVersionText());
    masterSwitch->addObserver(shared_from_this(), "on",
                              NSKeyValueObservingOptionNew | NSKeyValueObservingOptionOld, nullptr);
    populateNetworkInterfaces();
    NSThread::detachNewThread([self = retained()] { self->reloadClientIfNew(); });
}

NSPreferencePaneUnselectReply Tessaline_Network_ClientPref::shouldUnselect() {
    return isProcessing ? NSUnselectLater : NSUnselectNow;
}

void Tessaline_Network_ClientPref::observeValueForKeyPath(const std::string& keyPath,
                                                          NSObject& object,
                                                          const NSKeyValueChange& change,
                                                          void* context) {
    if (keyPath != "on") {
        NSPreferencePane::observeValueForKeyPath(keyPath, object, change, context);
        return;
    }
    if (isLoading) {
        togglePassedOver = true;
    } else if (!isProcessing) {
        enableDisableClient(this);
    }
}

void Tessaline_Network_ClientPref::finishLoading() {
    isLoading = false;
    performOnMainThread(
        [self = retained()] {
            if (std::exchange(self->togglePassedOver, false)) {
                self->updateEnabledStatus();
            }
        },
        false);
}

void Tessaline_Network_ClientPref::enableDisableClient(NSObject*) {
    if (!masterSwitch->isEnabled()) {
        return;
    }
    disableInterface();
    // The thread sets the flag as well, but may be late: a save in between enables the switch
    // again, and a second toggle would then start a second operation.
    isProcessing = true;
    ++operations;
    try {
        NSThread::detachNewThread([self = retained(), on = masterSwitch->isOn()] {
            on ? self->setupClient() : self->stopClient();
        });
    } catch (const NSException& exception) { // no thread is to be had
        QVException::logException(exception,
                                  "-[Tessaline_Network_ClientPref enableDisableClient:]");
        finishProcessing();
    }
}

void Tessaline_Network_ClientPref::showHideMenuBarIcon(NSObject* sender) {
    savePrefs(sender);
    const bool show = showMenuBarIconCheck->state() == 1;
    enableMaintenanceCheck->setEnabled(show);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(
        show ? Tolvin::menuBarIconShow : Tolvin::menuBarIconHide);
    enableMaintenanceCheck->setNeedsDisplay();
}

void Tessaline_Network_ClientPref::enableDisableMaintenance(NSObject* sender) {
    savePrefs(sender);
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(
        enableMaintenanceCheck->state() == 1 ? Tolvin::maintenanceEnable
                                             : Tolvin::maintenanceDisable);
}

void Tessaline_Network_ClientPref::updateEnabledStatus(bool changeSwitch) {
    masterSwitch->setEnabled(true);
    const bool up = clientIsUp();
    if (masterSwitch->isOn() != up && changeSwitch) {
        masterSwitch->setOn(up, false);
    }
    forEachSetting([&](NSControl* control, const Setting& setting) {
        if (setting.needsClient() || setting.needs) {
            control->setEnabled((up || !setting.needsClient()) &&
                                (!setting.needs || (this->*setting.needs)->state() == 1));
        }
    });
    if (!up && changeSwitch) {
        showLocalStatus("Not loaded");
    }
    forEachClientControl([](NSControl& control) { control.setNeedsDisplay(); });
}

void Tessaline_Network_ClientPref::disableInterface() {
    masterSwitch->setEnabled(false);
    forEachClientControl([](NSControl& control) { control.setEnabled(false); });
    forEachClientControl([](NSControl& control) { control.setNeedsDisplay(); });
}

/// The status line is the state: any text but these four counts as up, the first one included.
bool Tessaline_Network_ClientPref::clientIsUp() {
    constexpr std::array down = {"Status: Disconnected", "Status: Timed out", "Status: Not loaded",
                                 "Status: Relaunching..."};
    return NSFileManager::defaultManager().fileExistsAtPath(clientJobFile()) &&
           std::find(down.begin(), down.end(), statusLabel->stringValue()) == down.end();
}

std::shared_ptr<Tessaline_Network_ClientPref> Tessaline_Network_ClientPref::retained() {
    return std::static_pointer_cast<Tessaline_Network_ClientPref>(shared_from_this());
}

std::string Tessaline_Network_ClientPref::clientJobFile() {
    return stringByAppendingPathComponent(QVLocalPaths::libraryDirectory(false).value_or("/"),
                                          Tolvin::jobFile);
}

std::string Tessaline_Network_ClientPref::clientVersionText() {
    const auto client = NSBundle::bundleWithIdentifier(Tolvin::identifier);
    const auto version = client ? client->infoString("CFBundleShortVersionString") : std::nullopt;
    return version ? stringWithFormat("v%@", version) : "Tolvin";
}
