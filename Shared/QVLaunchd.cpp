#include "Shared/QVLaunchd.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSFileManager.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"
#include "Foundation/NSString.h"
#include "Foundation/NSThread.h"
#include "Shared/QVAlert.h"
#include "Shared/QVAuthorization.h"
#include "Shared/QVLocalPaths.h"
#include "Shared/QVTask.h"

namespace {

constexpr const char* chownPath = "/usr/sbin/chown";
constexpr const char* chmodPath = "/bin/chmod";

// A privileged tool is not waited for, so it is given a moment.
constexpr double shortPause = 500e-6;
constexpr double longPause = 1;

std::string libraryFolder(bool user) { return QVLocalPaths::libraryDirectory(user).value_or(""); }

std::string jobFolder(bool user, bool launchAgent) {
    return stringByAppendingPathComponent(libraryFolder(user),
                                          launchAgent ? "LaunchAgents" : "LaunchDaemons");
}

std::string jobPath(const std::string& label, const QVLaunchd::Place& place) {
    return stringWithFormat("%@/%@.plist", jobFolder(place.user, place.launchAgent), label);
}

void alert(const std::string& message, const std::string& folder) {
    QVAlert::alertSheetWithMessageText(
        message,
        stringWithFormat("Please check you have correct permissions for the directory %@.", folder),
        NSApp().mainWindow());
}

void logAndAlert(const std::string& message, const std::string& folder) {
    NSLog("%@. Please check you have correct permissions for the directory %@", message, folder);
    alert(message, folder);
}

/// Writes the job file by way of a temporary one that is moved with administrator rights.
bool writeWithRights(const NSDictionary& settings, const std::string& path) {
    auto& files = NSFileManager::defaultManager();
    auto& rights = QVAuthorization::sharedController();
    const auto folder = stringByDeletingLastPathComponent(path);
    const auto temporary =
        stringByAppendingPathComponent(QVLocalPaths::tempDirectory(), lastPathComponent(path));
    files.removeItemAtPath(temporary); // whatever it is: a link would be followed
    if (!writeDictionaryToFile(settings, temporary)) {
        logAndAlert("Error: Unable to write LaunchAgent data", folder);
        return false;
    }
    if (files.fileExistsAtPath(path)) {
        rights.authRemoveFile(path);
        NSThread::sleepForTimeInterval(shortPause);
    }
    NSLog("Unable to write plist - trying to authorize...");
    const bool moved = rights.authMoveFile(temporary, path);
    if (moved) {
        NSThread::sleepForTimeInterval(longPause);
    } else {
        logAndAlert("Error: Unable to create LaunchAgent", folder);
    }
    files.removeItemAtPath(temporary);
    return moved;
}

void setOwnerAndMode(const std::string& path, bool user) {
    if (!user) {
        QVTask::runTask(chownPath, {"root:wheel", path});
    }
    QVTask::runTask(chmodPath, {"644", path});
}

void setOwnerAndModeWithRights(const std::string& path, bool user) {
    auto& rights = QVAuthorization::sharedController();
    if (!user) {
        rights.authExecTask(chownPath, {"root:wheel", path});
    }
    NSThread::sleepForTimeInterval(shortPause);
    rights.authExecTask(chmodPath, {"644", path});
    NSThread::sleepForTimeInterval(longPause);
}

} // namespace

bool QVLaunchd::startJob(const std::string& label, const Install& job) {
    auto& files = NSFileManager::defaultManager();
    const Place place{job.user, job.launchAgent, job.shouldAuth};
    const auto folder = jobFolder(job.user, job.launchAgent);
    if (!files.fileExistsAtPath(folder)) {
        files.createDirectoryAtPath(folder);
    }
    const auto path = jobPath(label, place);
    if (files.fileExistsAtPath(path)) {
        removeJob(label, place);
    }
    bool withRights = job.shouldAuth;
    if (!writeDictionaryToFile(job.settings, path)) {
        if (!writeWithRights(job.settings, path)) {
            return false;
        }
        withRights = true;
    }
    if (job.killProcessName) {
        QVTask::runTask(killallPath, {*job.killProcessName});
    }
    (withRights ? setOwnerAndModeWithRights : setOwnerAndMode)(path, job.user);
    QVTask::runTask(launchctlPath, {"unload", path}, launchctlTimeout);
    QVTask::runTask(launchctlPath, {"load", path}, launchctlTimeout);
    return true;
}

bool QVLaunchd::startLaunchAgent(const std::string& label, const NSDictionary& settings,
                                 bool user) {
    return startJob(label, {.settings = settings, .user = user, .launchAgent = true});
}

void QVLaunchd::stopJob(const std::string& label, const Place& place) {
    QVTask::runTask(launchctlPath, {"unload", jobPath(label, place)});
    QVTask::runTask(launchctlPath, {"remove", label});
}

void QVLaunchd::removeJob(const std::string& label, const Place& place) {
    stopJob(label, place);
    auto& files = NSFileManager::defaultManager();
    const auto path = jobPath(label, place);
    if (!files.fileExistsAtPath(path) || files.removeItemAtPath(path)) {
        return;
    }
    if (place.shouldAuth && !QVAuthorization::sharedController().authRemoveFile(path)) {
        alert("Error: Unable to remove LaunchAgent", jobFolder(place.user, place.launchAgent));
        return;
    }
    NSThread::sleepForTimeInterval(shortPause);
}

bool QVLaunchd::isJobKept(const std::string& label) {
    const auto state = QVTask::stringFromTask(launchctlPath, {"list", label}, launchctlTimeout);
    const auto says = [&](const char* text) {
        return state && state->find(text) != std::string::npos;
    };
    return says("PID = ") && !(says("PID = -") && says("LastExitStatus = 0\n"));
}

void QVLaunchd::removeLaunchAgent(const std::string& label, bool user) {
    removeJob(label, {.user = user, .launchAgent = true, .shouldAuth = true});
}
