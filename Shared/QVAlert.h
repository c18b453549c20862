// Shows a message to the user as a sheet on a window, from any thread, and can wait for the answer:
// until a button is pressed, or until a time-out after which the default answer counts. One object
// stands for one shown sheet.
//
// Waiting on the main thread keeps the window alive, but serves no timer of the run loop's default
// mode. Waiting on another thread looks for the answer once a second.
//
// The answers: 1 the default button, or the time-out; 0 the alternate button; -1 the third button,
// a call that does not wait, or a delegate that lacks the end method.
#pragma once

#include "AppKit/NSAlert.h"
#include "AppKit/NSWindow.h"
#include "Foundation/NSObject.h"
#include "Foundation/NSPropertyList.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// Who is told that a sheet has ended.
class QVAlertDelegate {
public:
    virtual ~QVAlertDelegate() = default;
    /// The method of that name; empty when there is none.
    virtual NSAlert::EndMethod alertEndMethod(const std::string& selector) = 0;
};

class QVAlert : public NSObject,
                public QVAlertDelegate,
                public std::enable_shared_from_this<QVAlert> {
public:
    using Text = std::optional<std::string>;

    /// What a sheet holds besides its headline. An absent text is empty, an absent default title
    /// reads "OK", the other buttons are there when they are given.
    struct Sheet {
        Text defaultButton = {};
        Text alternateButton = {};
        Text otherButton = {};
        Text informativeText = {};
        NSWindow* parentWindow = nullptr;
        /// Not kept alive. Without one the alert itself takes the end call.
        std::weak_ptr<QVAlertDelegate> delegate = {};
        /// "alertDidEnd:returnCode:contextInfo:" when absent.
        Text didEndSelector = {};
        /// Whether to wait for the answer. Only the alert's own end method and a time-out end the
        /// wait, so a caller with a delegate of its own does not ask for it.
        bool block = false;
        /// Stands for the sheet instead of a new one.
        std::shared_ptr<QVAlert> alertObject = nullptr;
    };
    struct TimedSheet {
        Text defaultButton = {};
        Text alternateButton = {};
        Text otherButton = {};
        Text informativeText = {};
        NSWindow* parentWindow = nullptr;
        /// Whole seconds.
        int interval = 0;
    };

    /// One button with the platform's title; returns when it has been pressed.
    static void alertSheetWithMessageText(const Text& messageText, const Text& informativeText,
                                          NSWindow* parentWindow);
    /// Returns the answer. When the delegate lacks the end method, nothing is shown and the console
    /// says so. Without waiting, the sheet keeps its alert alive until it has ended.
    static long alertSheetWithMessageText(const Text& messageText, const Sheet& sheet);
    /// Waits for the answer, which is 1 once the interval has passed; the sheet then disappears.
    static long timedAlertSheetWithMessageText(const Text& messageText, const TimedSheet& sheet);

    QVAlert() = default;

    /// Builds the sheet from its description and shows it. The keys, each text: "messageText",
    /// "defaultButtonTitle", "alternateButtonTitle", "otherButtonTitle", "informativeText" where
    /// given, and always "didEndSelector". Main thread.
    void alertSheetWithDictionary(const NSDictionary& description);
    /// The default end method.
    void alertDidEnd(NSAlert& alert, int returnCode, void* contextInfo);
    /// Sleeps so many seconds, then answers 1, answered already or not.
    void defaultReturnAfterTimeInterval(int seconds);

    NSWindow* parentWindow() const { return window; }
    void setParentWindow(NSWindow* parentWindow) { window = parentWindow; }
    std::shared_ptr<QVAlertDelegate> delegate() const { return endDelegate.lock(); }
    void setDelegate(std::weak_ptr<QVAlertDelegate> delegate) { endDelegate = std::move(delegate); }
    bool alertEnded() const { return ended; }
    void setAlertEnded(bool alertEnded);
    long returnCode() const { return code; }
    void setReturnCode(long returnCode) { code = returnCode; }
    std::shared_ptr<NSAlert> alert() const;
    void setAlert(std::shared_ptr<NSAlert> alert);

    NSAlert::EndMethod alertEndMethod(const std::string& selector) override;

private:
    long show(const Text& messageText, const Sheet& sheet);
    void end(long returnCode);
    /// The code with which the sheet ended; a time-out that comes after a button's press, but
    /// before the caller has looked, does not change it.
    long answer() const;
    void waitForAnswer();
    void takeOffTheScreen();

    NSWindow* window = nullptr;
    std::weak_ptr<QVAlertDelegate> endDelegate;
    std::atomic<bool> ended = false;
    std::atomic<long> code = 0;
    mutable std::mutex alertMutex;
    long firstCode = 0;
    std::shared_ptr<NSAlert> shownAlert;
};
