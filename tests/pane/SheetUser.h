// Somebody who answers alert sheets, and reads the status line.
#pragma once

#include "Foundation/NSThread.h"

#include <functional>
#include <QApplication>
#include <string>
#include <vector>

/// Notes every alert sheet that comes up, and presses its first button; notes every new text of the
/// status line.
class SheetUser : public QObject {
public:
    SheetUser() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* object, QEvent* event) override;

    std::vector<std::string> texts; // "MESSAGE / INFORMATIVE TEXT"
    std::vector<std::string> lines;
    /// When to press: after a second's thought.
    std::function<void(std::function<void()> press)> later = [](std::function<void()> press) {
        NSThread::detachNewThread([press = std::move(press)] {
            NSThread::sleepForTimeInterval(1);
            performOnMainThread(press, true);
        });
    };
};
