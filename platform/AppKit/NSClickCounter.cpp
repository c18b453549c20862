#include "AppKit/NSClickCounter.h"

#include "System/Machine.h"

#include <algorithm>
#include <chrono>
#include <QApplication>
#include <QStyleHints>

bool NSClickCounter::isNear(QPointF globalPosition, Clock::Time now) const {
    const std::chrono::milliseconds interval(QApplication::doubleClickInterval());
    const double distance = QGuiApplication::styleHints()->mouseDoubleClickDistance();
    return now - lastPress < interval &&
           (globalPosition - lastPosition).manhattanLength() <= distance;
}

int NSClickCounter::press(bool isDoubleClick, QPointF globalPosition) {
    const Clock::Time now = Machine::current().clock().now();
    const bool goesOn = isDoubleClick || (count > 1 && isNear(globalPosition, now));
    count = goesOn ? std::max(count, 1) + 1 : 1;
    lastPress = now;
    lastPosition = globalPosition;
    return count;
}
