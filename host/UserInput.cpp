#include "host/UserInput.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWindow>

namespace {

constexpr int dragSteps = 12;

/// Gives it to the widget's window, which finds out whom it concerns.
void sendMouse(const QWidget& widget, QEvent::Type type, QPoint point, Qt::MouseButton button,
               Qt::MouseButtons pressed) {
    const QPoint inWindow = widget.mapTo(widget.window(), point);
    QMouseEvent event(type, inWindow, inWindow, widget.mapToGlobal(point), button, pressed,
                      Qt::NoModifier);
    QCoreApplication::sendEvent(widget.window()->windowHandle(), &event);
    QCoreApplication::processEvents();
}

void press(const QWidget& widget, QPoint point) {
    sendMouse(widget, QEvent::MouseButtonPress, point, Qt::LeftButton, Qt::LeftButton);
}

void move(const QWidget& widget, QPoint point) {
    sendMouse(widget, QEvent::MouseMove, point, Qt::NoButton, Qt::LeftButton);
}

void release(const QWidget& widget, QPoint point) {
    sendMouse(widget, QEvent::MouseButtonRelease, point, Qt::LeftButton, Qt::NoButton);
}

void pressKey(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier,
              const QString& text = {}) {
    for (const auto type : {QEvent::KeyPress, QEvent::KeyRelease}) {
        QKeyEvent event(type, key, modifiers, text);
        QCoreApplication::sendEvent(&widget, &event);
    }
    QCoreApplication::processEvents();
}

} // namespace

void UserInput::click(QWidget& widget, QPoint point) {
    press(widget, point);
    release(widget, point);
}

void UserInput::drag(QWidget& widget, QPoint from, QPoint to) {
    press(widget, from);
    for (int step = 1; step <= dragSteps; ++step) {
        move(widget, from + (to - from) * step / dragSteps);
    }
    release(widget, to);
}

void UserInput::type(QWidget& field, const QString& text) {
    click(field, field.rect().center());
    pressKey(field, Qt::Key_A, Qt::ControlModifier);
    pressKey(field, Qt::Key_Delete);
    for (const QChar character : text) {
        pressKey(field, Qt::Key_unknown, Qt::NoModifier, character);
    }
    pressKey(field, Qt::Key_Return);
}

void UserInput::choose(QWidget& popUpButton, int index) {
    auto& button = dynamic_cast<QComboBox&>(popUpButton);
    click(button, button.rect().center());
    // By keys: the list ignores a click that comes right after the one that opened it.
    QWidget& list = *button.view();
    for (int row = button.currentIndex(); row != index; row += row < index ? 1 : -1) {
        pressKey(list, row < index ? Qt::Key_Down : Qt::Key_Up);
    }
    pressKey(list, Qt::Key_Return);
}
