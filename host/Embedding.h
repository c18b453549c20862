// The pane's window inside a window of another program's, its socket: a desktop's settings window.
#pragma once

#include "AppKit/NSWindow.h"

#include <cstdint>
#include <memory>
#include <QAbstractNativeEventFilter>
#include <QObject>

class QWindow;

/// Main thread only.
class Embedding : public QObject, public QAbstractNativeEventFilter {
public:
    /// Before the window is shown. Its sheets stand before the other program's window. When the
    /// socket goes, the window is closed as by its user. Raises NSInvalidArgumentException when
    /// there is no such socket.
    Embedding(NSWindow& window, std::uint32_t socket);
    ~Embedding() override;

protected:
    bool eventFilter(QObject* object, QEvent* event) override;
    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;

private:
    void socketIsGone();
    void leave();

    NSWindow& window;
    const std::uint32_t socket;
    // These stand for the other program's: the window on the desktop, and the socket in it.
    std::unique_ptr<QWindow> frame, parent;
};
