#include "host/WindowPlace.h"

#include "Foundation/NSPathUtilities.h"
#include "Foundation/NSPropertyListSerialization.h"

#include <chrono>
#include <QEvent>
#include <QWidget>

namespace {

constexpr const char* key = "window";
constexpr std::chrono::milliseconds moment(500);

QByteArray placeInFile(const std::string& path) {
    const auto content = dictionaryWithContentsOfFile(path);
    const auto text = content ? content->stringForKey(key) : std::nullopt;
    return QByteArray::fromBase64(QByteArray::fromStdString(text.value_or("")));
}

} // namespace

WindowPlace::WindowPlace(QWidget& window)
    : window(window),
      path(stringByAppendingPathComponent(
          NSHomeDirectory(), "Library/Preferences/com.quorvane.Tessaline.window.plist")),
      saved(placeInFile(path)) {
    window.restoreGeometry(saved); // does nothing with what it did not write, and asks the screens
    settled.setSingleShot(true);
    settled.setInterval(moment);
    QObject::connect(&settled, &QTimer::timeout, this, [this] { save(); });
    window.installEventFilter(this);
}

bool WindowPlace::eventFilter(QObject* object, QEvent* event) {
    switch (event->type()) {
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::WindowStateChange:
        settled.start();
        break;
    case QEvent::Close:
    case QEvent::Hide:
        if (settled.isActive()) {
            save();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(object, event);
}

void WindowPlace::save() {
    settled.stop();
    const QByteArray place = window.saveGeometry();
    if (place != saved) {
        saved = place;
        writer.addOperation([path = path, text = place.toBase64().toStdString()] {
            writeDictionaryToFile({{key, text}}, path);
        });
    }
}
