// Somebody who answers alert sheets.
#pragma once

#include "Foundation/NSThread.h"

#include <functional>
#include <QApplication>
#include <string>
#include <vector>

/// Notes every alert sheet that comes up, and presses its first button.
class SheetUser : public QObject {
public:
    SheetUser() { qApp->installEventFilter(this); }
    bool eventFilter(QObject* object, QEvent* event) override;

    std::vector<std::string> texts; // "MESSAGE / INFORMATIVE TEXT"
    /// When to press.
    std::function<void(std::function<void()> press)> later = [](std::function<void()> press) {
        performOnMainThread(std::move(press), false);
    };
};
