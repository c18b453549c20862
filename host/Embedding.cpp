#include "host/Embedding.h"

#include "Foundation/NSException.h"
#include "Foundation/NSThread.h"

#include <cstdlib>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QWindow>
#include <string_view>
#include <xcb/xcb.h>

namespace {

struct Free {
    void operator()(void* reply) const { std::free(reply); }
};
/// A reply of the screen's; none for a window that is not there.
template <class Reply>
std::unique_ptr<Reply, Free> owned(Reply* reply) {
    return std::unique_ptr<Reply, Free>(reply);
}

xcb_connection_t* screen() {
    auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // The screenless platform has the interface, and nothing behind it.
    return x11 && QGuiApplication::platformName() == "xcb" ? x11->connection() : nullptr;
}

bool isThere(xcb_window_t socket) {
    auto* x = screen();
    return x && owned(xcb_get_geometry_reply(x, xcb_get_geometry(x, socket), nullptr));
}

/// Window managers mark the windows that they know.
bool isManaged(xcb_window_t window) {
    constexpr std::string_view name = "WM_STATE";
    auto* x = screen();
    const auto mark =
        owned(xcb_intern_atom_reply(x, xcb_intern_atom(x, 1, name.size(), name.data()), nullptr));
    if (!mark) {
        return false;
    }
    const auto question = xcb_get_property(x, 0, window, mark->atom, XCB_ATOM_ANY, 0, 1);
    const auto state = owned(xcb_get_property_reply(x, question, nullptr));
    return state && state->type != XCB_ATOM_NONE;
}

/// The other program's window on the desktop, which holds the socket.
xcb_window_t topLevelOf(xcb_window_t window) {
    while (!isManaged(window)) {
        auto* x = screen();
        const auto tree = owned(xcb_query_tree_reply(x, xcb_query_tree(x, window), nullptr));
        if (!tree || tree->parent == tree->root) {
            break;
        }
        window = tree->parent;
    }
    return window;
}

} // namespace

Embedding::Embedding(NSWindow& window, std::uint32_t socket) : window(window), socket(socket) {
    if (!isThere(socket)) {
        throw NSException(NSInvalidArgumentException,
                          "There is no window " + std::to_string(socket) + " to show the pane in");
    }
    frame.reset(QWindow::fromWinId(topLevelOf(socket)));
    parent.reset(QWindow::fromWinId(socket));
    parent->setTransientParent(frame.get()); // so that what blocks the frame blocks the pane
    window.winId();                          // makes it
    window.windowHandle()->setParent(parent.get());
    qGuiApp->installNativeEventFilter(this);
    qGuiApp->installEventFilter(this);
}

Embedding::~Embedding() { leave(); }

/// A sheet, the help and the log stand before the other program's window, as they would before
/// ours: a window inside another one has none that belong to it.
bool Embedding::eventFilter(QObject* object, QEvent* event) {
    auto* shown =
        event->type() == QEvent::PlatformSurface ? qobject_cast<QWindow*>(object) : nullptr;
    if (shown && shown->isTopLevel() && shown != frame.get() && shown != parent.get() &&
        (shown->type() == Qt::Window || shown->type() == Qt::Dialog ||
         shown->type() == Qt::Sheet)) {
        shown->setTransientParent(frame.get());
    }
    return QObject::eventFilter(object, event);
}

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
        qGuiApp->removeEventFilter(this);
        qGuiApp->removeNativeEventFilter(this);
        window.windowHandle()->destroy();
        window.windowHandle()->setParent(nullptr);
        parent = nullptr;
        frame = nullptr;
    }
}
