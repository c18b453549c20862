// The exchange with the running client: requests, replies and their time-out.
#include "Foundation/NSDistributedNotificationCenter.h"
#include "Foundation/NSString.h"
#include "Foundation/NSThread.h"
#include "pane/Tessaline_Network_ClientPref.h"
#include "pane/Tolvin.h"

namespace {

// Seconds. Each poll asks anew and arms the reply time-out anew. With a shorter interval it would
// never fall due, and a client that says nothing would never be noticed; with an equal one only the
// time-out armed at load, before the poll starts, falls due.
constexpr int pollInterval = 10;
constexpr int replyTimeOut = 10;
static_assert(pollInterval >= replyTimeOut, "the poll would silence the reply time-out");

/// A status of the pane's own: in the client's form, but never posted.
NSNotification localStatus(const std::string& status) {
    return {.name = "", .object = std::nullopt, .userInfo = NSDictionary{{"status", status}}};
}

} // namespace

void Tessaline_Network_ClientPref::updateStatus(const NSNotification& notification) {
    performOnMainThread([this] { invalidateTimeOut(); }, true);
    const auto status = notification.userInfoString("status");
    if (!status) {
        return;
    }
    statusLabel->setStringValue(stringWithFormat("Status: %@", status));
    statusLabel->setNeedsDisplay();
    if (status == "Not loaded" || isProcessing) {
        return;
    }
    updateEnabledStatus(status != "Relaunching...");
}

void Tessaline_Network_ClientPref::showLocalStatus(const std::string& status) {
    updateStatus(localStatus(status));
}

void Tessaline_Network_ClientPref::performStatus(const std::string& status, bool waitUntilDone) {
    performOnMainThread([self = retained(), status] { self->showLocalStatus(status); },
                        waitUntilDone);
}

void Tessaline_Network_ClientPref::startStatusPoll() {
    statusTimer = NSTimer::scheduledTimer(
        pollInterval, weak_from_this(), [this] { fetchCurrentStatus(); }, true);
}

void Tessaline_Network_ClientPref::fetchCurrentStatus() {
    NSDistributedNotificationCenter::defaultCenter().postNotificationName(Tolvin::currentStatus);
    performOnMainThread([this] { scheduleTimeOut(replyTimeOut); }, true);
}

void Tessaline_Network_ClientPref::postNotification(const NSNotification& notification) {
    NSDistributedNotificationCenter::defaultCenter().postNotification(notification);
    performOnMainThread([this] { scheduleTimeOut(replyTimeOut); }, true);
}

void Tessaline_Network_ClientPref::scheduleTimeOut(int seconds) {
    performOnMainThread([this] { invalidateTimeOut(); }, true);
    messageTimer = NSTimer::scheduledTimer(
        seconds, weak_from_this(), [this] { timedOut(); }, false);
}

void Tessaline_Network_ClientPref::invalidateTimeOut() {
    if (messageTimer) {
        messageTimer->invalidate();
        messageTimer = nullptr;
    }
}

void Tessaline_Network_ClientPref::timedOut() {
    performOnMainThread([this] { invalidateTimeOut(); }, true);
    showLocalStatus("Timed out");
}
