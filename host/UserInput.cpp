#include "host/UserInput.h"

#include <QAbstractItemView>
#include <QComboBox>
#include <QTest>
#include <QWindow>

namespace {

constexpr int dragSteps = 12;

QWindow* windowOf(const QWidget& widget) { return widget.window()->windowHandle(); }

QPoint inWindow(const QWidget& widget, QPoint point) {
    return widget.mapTo(widget.window(), point);
}

void pressKey(QWidget& widget, Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(&widget, key, modifiers);
}

} // namespace

void UserInput::click(QWidget& widget, QPoint point) {
    QTest::mouseClick(windowOf(widget), Qt::LeftButton, Qt::NoModifier, inWindow(widget, point));
}

void UserInput::drag(QWidget& widget, QPoint from, QPoint to) {
    QWindow* window = windowOf(widget);
    QTest::mousePress(window, Qt::LeftButton, Qt::NoModifier, inWindow(widget, from));
    for (int step = 1; step <= dragSteps; ++step) {
        QTest::mouseMove(window, inWindow(widget, from + (to - from) * step / dragSteps));
    }
    QTest::mouseRelease(window, Qt::LeftButton, Qt::NoModifier, inWindow(widget, to));
}

void UserInput::type(QWidget& field, const QString& text) {
    click(field, field.rect().center());
    pressKey(field, Qt::Key_A, Qt::ControlModifier);
    pressKey(field, Qt::Key_Delete);
    for (const QChar character : text) {
        QTest::sendKeyEvent(QTest::Click, &field, Qt::Key_unknown, QString(character),
                            Qt::NoModifier);
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
