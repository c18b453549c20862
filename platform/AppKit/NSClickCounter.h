// Counts the presses of the mouse that follow each other quickly in one place. Qt tells a press
// from the second one of a double click, and starts again with the third; this goes on counting.
#pragma once

#include "System/Clock.h"

#include <QPointF>

class NSClickCounter {
public:
    /// A press: whether Qt takes it for the second of a double click, and where it is on the
    /// screen. Returns the count, 1 for a press that follows nothing.
    int press(bool isDoubleClick, QPointF globalPosition);

private:
    bool isNear(QPointF globalPosition, Clock::Time now) const;

    int count = 0;
    Clock::Time lastPress;
    QPointF lastPosition;
};
