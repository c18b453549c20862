// A person's mouse and keyboard, as real events of the window system's. Each call returns when the
// program has dealt with what was done, a sheet that the act called up included.
#pragma once

#include <QPoint>
#include <QString>
#include <QWidget>

class UserInput {
public:
    /// A press and release of the left button. Points are the widget's own.
    static void click(QWidget& widget, QPoint point);
    /// Presses, moves in small steps, releases.
    static void drag(QWidget& widget, QPoint from, QPoint to);
    /// Clicks into a field, replaces its text and presses Return.
    static void type(QWidget& field, const QString& text);
    /// Opens a menu and picks an item.
    static void choose(QWidget& popUpButton, int index);
};
