// The client's life as a job: installed and started, stopped and removed, restarted when it was
// replaced by another version. All of it runs on threads of its own.
#include "AppKit/NSApplication.h"
#include "ApplicationServices/ProcessManager.h"
#include "Foundation/NSBundle.h"
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSException.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "Foundation/NSThread.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"
#include "Shared/QVAlert.h"
#include "Shared/QVAuthorization.h"
#include "Shared/QVException.h"
#include "Shared/QVLaunchd.h"
#include "Shared/QVTask.h"

namespace {

// Seconds.
constexpr int startTimeOut = 15; // for the first status after the job was loaded
constexpr double directLaunchDelay = 18;
constexpr double disconnectPause = 2; // for the client to say goodbye
constexpr double reloadPause = 1;

NSDictionary jobDefinition(const std::string& executable) {
    return {{"Label", Tolvin::identifier},
            {"Program", executable},
            {"WorkingDirectory", stringByDeletingLastPathComponent(executable)},
            {"RunAtLoad", true},
            {"KeepAlive", NSDictionary{{"SuccessfulExit", false}}}};
}

} // namespace

void Tessaline_Network_ClientPref::setupClient() {
    isProcessing = true;
    reporting("-[Tessaline_Network_ClientPref setupClient]", [this] {
        performOnMainThread(
            [this] {
                disableInterface();
                statusSpinner->startAnimation();
            },
            true);
        const auto executable = clientExecutable();
        if (!executable) {
            NSLog("Error - unable to determine application path. "
                  "Please report this error to Quorvane.");
            QVAlert::alertSheetWithMessageText("Error - unable to determine application path",
                                               "Please report this error to Quorvane.",
                                               NSApplication::sharedApplication().mainWindow());
        } else if (QVAuthorization::sharedController().authStart()) {
            installJob(*executable);
        }
    });
    finishProcessing();
}

void Tessaline_Network_ClientPref::installJob(const std::string& executable) {
    performStatus("Creating job...", false);
    const bool installed =
        QVLaunchd::startJob(Tolvin::identifier, {.settings = jobDefinition(executable),
                                                 .user = false,
                                                 .launchAgent = true,
                                                 .shouldAuth = true,
                                                 .killProcessName = Tolvin::processName});
    if (!installed) {
        performStatus("Error: unable to create job", false);
        return;
    }
    performStatus("Launching client...", false);
    performOnMainThread([self = retained()] { self->scheduleTimeOut(startTimeOut); }, false);
    NSThread::detachNewThread([self = retained()] { self->launchClientAfterDelay(); });
}

void Tessaline_Network_ClientPref::stopClient() {
    isProcessing = true;
    reporting("-[Tessaline_Network_ClientPref stopClient]", [this] {
        QVAuthorization::sharedController().authStart();
        performOnMainThread([this] { disableInterface(); }, true);
        performStatus("Disconnecting...", true);
        performOnMainThread([this] { statusSpinner->startAnimation(); }, true);
        performOnMainThread([this] { postNotification({.name = Tolvin::disconnect}); }, true);
        NSThread::sleepForTimeInterval(disconnectPause);
        performStatus("Unloading job...", true);
        QVLaunchd::removeJob(Tolvin::identifier,
                             {.user = false, .launchAgent = true, .shouldAuth = true});
        QVTask::runTask(QVLaunchd::killallPath, {Tolvin::processName});
        performStatus("Not loaded", true);
    });
    finishProcessing();
}

void Tessaline_Network_ClientPref::finishProcessing() {
    isProcessing = false;
    performOnMainThread(
        [this] {
            updateEnabledStatus();
            statusSpinner->stopAnimation();
            replyToShouldUnselect(true);
        },
        true);
}

void Tessaline_Network_ClientPref::reloadClientIfNew() {
    reporting("-[Tessaline_Network_ClientPref reloadClientIfNew]", [this] {
        NSThread::sleepForTimeInterval(reloadPause);
        const auto settings = dictionaryWithContentsOfFile(settingsPath(Tolvin::settingsFile));
        const auto client = NSBundle::bundleWithIdentifier(Tolvin::identifier);
        const auto version = client ? client->infoString("CFBundleVersion") : std::nullopt;
        const auto lastVersion = settings ? settings->stringForKey("lastRunVersion") : std::nullopt;
        if (lastVersion && version != lastVersion &&
            NSFileManager::defaultManager().fileExistsAtPath(clientJobFile())) {
            relaunchClient();
        }
        if (settings) {
            storeLastRunVersion(version);
        }
    });
    finishLoading();
}

/// The relaunch takes its time, in which the user may have saved: the file is read anew.
void Tessaline_Network_ClientPref::storeLastRunVersion(const std::optional<std::string>& version) {
    if (!version) {
        throw NSException(NSInvalidArgumentException,
                          "The client's bundle has no version to store as lastRunVersion");
    }
    const auto path = settingsPath(Tolvin::settingsFile);
    const std::lock_guard lock(settingsMutex);
    if (auto settings = dictionaryWithContentsOfFile(path)) {
        settings->setObject(*version, "lastRunVersion");
        writeDictionaryToFile(*settings, path);
    }
}

void Tessaline_Network_ClientPref::relaunchClient() {
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(Tolvin::disconnect);
    NSThread::sleepForTimeInterval(reloadPause);
    for (const char* command : {"unload", "load"}) {
        QVTask::runTask(QVLaunchd::launchctlPath, {command, clientJobFile()},
                        QVLaunchd::launchctlTimeout);
    }
}

void Tessaline_Network_ClientPref::launchClientAfterDelay() {
    const unsigned start = operations;
    bool isOver = false; // the start that this belongs to, by another operation or without a trace
    reporting("-[Tessaline_Network_ClientPref launchClientAfterDelay]", [&] {
        NSThread::sleepForTimeInterval(directLaunchDelay);
        isOver = operations != start ||
                 !NSFileManager::defaultManager().fileExistsAtPath(clientJobFile());
        if (isOver) {
            return;
        }
        const auto executable = clientExecutable();
        // One that launchd is about to start again would make a second one of it.
        if (!isProcessRunning(Tolvin::processName) && !QVLaunchd::isJobKept(Tolvin::identifier)) {
            QVTask::runTaskAndReturn(executable.value_or(""), {});
        }
    });
    if (!isOver) {
        performOnMainThread([this] { updateEnabledStatus(); }, true);
    }
}

bool Tessaline_Network_ClientPref::isProcessRunning(const std::string& executableName) {
    const auto suffix = stringWithFormat("/%@", executableName);
    ProcessSerialNumber process;
    while (GetNextProcess(&process) == noErr) {
        const auto information = ProcessInformationCopyDictionary(&process, 0xFFFFFFFF);
        const PropertyList* path =
            information ? information->objectForKey("CFBundleExecutable") : nullptr;
        if (path != nullptr && path->string() != nullptr && path->string()->ends_with(suffix)) {
            return true;
        }
    }
    return false;
}

std::optional<std::string> Tessaline_Network_ClientPref::clientExecutable() {
    const auto client = NSBundle::bundleWithIdentifier(Tolvin::identifier);
    return client ? std::optional(
                        stringByAppendingPathComponent(client->bundlePath(), Tolvin::executable))
                  : std::nullopt;
}

void Tessaline_Network_ClientPref::reporting(const char* method,
                                             const std::function<void()>& steps) {
    try {
        raisingSystemErrors(NSInternalInconsistencyException, steps);
    } catch (const NSException& exception) {
        QVException::logException(exception, method);
    }
}
