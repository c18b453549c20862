#include "host/Embedding.h"

#include "Foundation/NSException.h"
#include "Foundation/NSThread.h"

#include <cstdlib>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QWindow>
#include <xcb/xcb.h>

namespace {

bool isThere(std::uint32_t socket) {
    auto* screen = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (screen == nullptr || QGuiApplication::platformName() != "xcb") {
        return false; // the screenless platform has the interface, and nothing behind it
    }
    auto* connection = screen->connection();
    const std::unique_ptr<xcb_get_geometry_reply_t, void (*)(void*)> reply(
        xcb_get_geometry_reply(connection, xcb_get_geometry(connection, socket), nullptr),
        std::free);
    return reply != nullptr;
}

} // namespace

Embedding::Embedding(NSWindow& window, std::uint32_t socket) : window(window), socket(socket) {
    if (!isThere(socket)) {
        throw NSException(NSInvalidArgumentException,
                          "There is no window " + std::to_string(socket) + " to show the pane in");
    }
    parent.reset(QWindow::fromWinId(socket));
    window.winId(); // makes it
    window.windowHandle()->setParent(parent.get());
    qGuiApp->installNativeEventFilter(this);
}

Embedding::~Embedding() { leave(); }

/// The socket's end takes the window along, or moves it out if its program saw to that.
bool Embedding::nativeEventFilter(const QByteArray& type, void* message, qintptr*) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if (type != "xcb_generic_event_t" || !parent) {
        return false;
    }
    const auto own = window.internalWinId();
    const auto* destroyed = reinterpret_cast<const xcb_destroy_notify_event_t*>(event);
    const auto* moved = reinterpret_cast<const xcb_reparent_notify_event_t*>(event);
    if ((event->response_type == XCB_DESTROY_NOTIFY && destroyed->window == own) ||
        (event->response_type == XCB_REPARENT_NOTIFY && moved->window == own &&
         moved->parent != socket)) {
        performOnMainThread([this] { socketIsGone(); }, false);
    }
    return false;
}

/// The first news of it counts.
void Embedding::socketIsGone() {
    if (parent) {
        leave();
        QCloseEvent close; // sent, since Qt closes no window that is not on the screen
        QCoreApplication::sendEvent(&window, &close);
    }
}

/// The window can be shown again, on the desktop.
void Embedding::leave() {
    if (parent) {
        qGuiApp->removeNativeEventFilter(this);
        window.windowHandle()->destroy();
        window.windowHandle()->setParent(nullptr);
        parent = nullptr;
    }
}
