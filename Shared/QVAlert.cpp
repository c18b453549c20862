#include "Shared/QVAlert.h"

#include "AppKit/NSApplication.h"
#include "Foundation/NSLog.h"
#include "Foundation/NSThread.h"
#include "System/Machine.h"

#include <utility>

namespace {

constexpr const char* defaultEndMethod = "alertDidEnd:returnCode:contextInfo:";
constexpr double secondsPerEvent = 0.01;
constexpr double secondsPerLook = 1.0;

NSDictionary describe(const QVAlert::Text& messageText, const QVAlert::Sheet& sheet,
                      const std::string& selector) {
    NSDictionary description;
    const auto put = [&](const std::string& key, const QVAlert::Text& text) {
        if (text) {
            description.setObject(*text, key);
        }
    };
    put("messageText", messageText);
    put("defaultButtonTitle", sheet.defaultButton);
    put("alternateButtonTitle", sheet.alternateButton);
    put("otherButtonTitle", sheet.otherButton);
    put("informativeText", sheet.informativeText);
    put("didEndSelector", selector);
    return description;
}

} // namespace

void QVAlert::alertSheetWithMessageText(const Text& messageText, const Text& informativeText,
                                        NSWindow* parentWindow) {
    alertSheetWithMessageText(
        messageText,
        {.informativeText = informativeText, .parentWindow = parentWindow, .block = true});
}

long QVAlert::alertSheetWithMessageText(const Text& messageText, const Sheet& sheet) {
    const auto object = sheet.alertObject ? sheet.alertObject : std::make_shared<QVAlert>();
    object->setAlertEnded(false);
    return object->show(messageText, sheet);
}

long QVAlert::timedAlertSheetWithMessageText(const Text& messageText, const TimedSheet& sheet) {
    const auto object = std::make_shared<QVAlert>();
    NSThread::detachNewThread(
        [object, interval = sheet.interval] { object->defaultReturnAfterTimeInterval(interval); });
    // Not through the function above, whose reset could undo a time-out that has come already.
    return object->show(messageText, {.defaultButton = sheet.defaultButton,
                                      .alternateButton = sheet.alternateButton,
                                      .otherButton = sheet.otherButton,
                                      .informativeText = sheet.informativeText,
                                      .parentWindow = sheet.parentWindow,
                                      .block = true});
}

long QVAlert::show(const Text& messageText, const Sheet& sheet) {
    const auto given = sheet.delegate.lock();
    const auto receiver = given ? given : shared_from_this();
    setParentWindow(sheet.parentWindow);
    setDelegate(receiver);
    const std::string selector = sheet.didEndSelector.value_or(defaultEndMethod);
    if (!receiver->alertEndMethod(selector)) {
        NSLog("Alert error: delegate does not respond to selector %@", selector);
        return NSAlertOtherReturn;
    }
    const NSDictionary description = describe(messageText, sheet, selector);
    performOnMainThread([&] { alertSheetWithDictionary(description); }, true);
    if (!sheet.block) {
        return NSAlertOtherReturn;
    }
    waitForAnswer();
    takeOffTheScreen();
    return answer();
}

void QVAlert::alertSheetWithDictionary(const NSDictionary& description) {
    const auto receiver = delegate();
    auto didEnd = receiver->alertEndMethod(description.stringForKey("didEndSelector").value_or(""));
    const auto newAlert = NSAlert::alertWithMessageText(
        description.stringForKey("messageText").value_or(""),
        {.defaultButton = description.stringForKey("defaultButtonTitle"),
         .alternateButton = description.stringForKey("alternateButtonTitle"),
         .otherButton = description.stringForKey("otherButtonTitle")},
        description.stringForKey("informativeText").value_or(""));
    setAlert(newAlert);
    if (window) {
        window->makeKeyAndOrderFront();
    }
    // The sheet keeps this object until it has ended, for callers that do not wait.
    newAlert->beginSheetModalForWindow(
        window,
        [self = shared_from_this(), didEnd = std::move(didEnd)](NSAlert& sender, int answer,
                                                                void* contextInfo) {
            didEnd(sender, answer, contextInfo);
        },
        nullptr);
}

void QVAlert::alertDidEnd(NSAlert&, int returnCode, void*) { end(returnCode); }

void QVAlert::defaultReturnAfterTimeInterval(int seconds) {
    NSThread::sleepForTimeInterval(seconds);
    end(NSAlertDefaultReturn);
}

void QVAlert::setAlertEnded(bool alertEnded) {
    const std::lock_guard lock(alertMutex);
    if (alertEnded && !ended) {
        firstCode = code;
    }
    ended = alertEnded;
}

void QVAlert::end(long returnCode) {
    setReturnCode(returnCode);
    setAlertEnded(true);
}

long QVAlert::answer() const {
    const std::lock_guard lock(alertMutex);
    return firstCode;
}

void QVAlert::waitForAnswer() {
    while (!alertEnded()) {
        if (NSThread::isMainThread()) {
            const auto soon = Machine::current().clock().now() + durationOfSeconds(secondsPerEvent);
            NSApp().sendEventsUntilDate(soon, NSRunLoopMode::modalPanel);
        } else {
            NSThread::sleepForTimeInterval(secondsPerLook);
        }
    }
}

void QVAlert::takeOffTheScreen() {
    performOnMainThread(
        [this] {
            if (const auto shown = alert()) {
                shown->orderOut();
            }
        },
        true);
    setAlert(nullptr);
}

std::shared_ptr<NSAlert> QVAlert::alert() const {
    const std::lock_guard lock(alertMutex);
    return shownAlert;
}

void QVAlert::setAlert(std::shared_ptr<NSAlert> alert) {
    const std::lock_guard lock(alertMutex);
    shownAlert.swap(alert);
}

NSAlert::EndMethod QVAlert::alertEndMethod(const std::string& selector) {
    if (selector != defaultEndMethod) {
        return nullptr;
    }
    return [this](NSAlert& sender, int answer, void* contextInfo) {
        alertDidEnd(sender, answer, contextInfo);
    };
}
