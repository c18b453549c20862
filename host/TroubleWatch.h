// Watches over a pane's client from outside the pane, and says in the message bar what is wrong.
// It looks again when something has happened to the client's process, its job, its files, the bus
// or the pane's switch; while there is a message it also looks every few seconds, since not every
// cause tells when it goes. With nothing wrong it sleeps.
#pragma once

#include "AppKit/NSWindow.h"
#include "host/BackgroundWork.h"
#include "host/MessageBar.h"
#include "host/Trouble.h"
#include "System/Clock.h"
#include "System/FolderWatch.h"

#include <memory>
#include <QSocketNotifier>
#include <QTimer>

/// Main thread only. Goes before the window.
class TroubleWatch : public QObject {
public:
    /// `client` is the client's bundle identifier.
    TroubleWatch(NSWindow& window, std::string client);
    ~TroubleWatch() override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;

private:
    void lookSoon();
    void look();
    std::function<Finding()> prepareLook() const;
    void take(const Finding& finding);
    void follow(pid_t newProcess);
    void show(const std::optional<Trouble>& newTrouble);
    bool isBusy() const;
    bool isShownOn() const;

    NSWindow& window;
    const std::string client;
    MessageBar& bar;
    QWidget* const paneSwitch;
    const std::shared_ptr<FolderWatch> folders = std::make_shared<FolderWatch>();
    BackgroundWork<Finding> looking;
    std::unique_ptr<QSocketNotifier> folderNotifier, processNotifier;
    FileDescriptor processHandle;
    pid_t process = 0;
    Clock::Time processSince; // when it was first seen
    bool wasSeen = false;
    QTimer soon, again;
    std::optional<std::pair<bool, bool>> lastSwitch; // on, busy
    std::optional<Trouble> trouble;
};
