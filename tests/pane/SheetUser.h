// Somebody who answers alert sheets, and reads the status line.
#pragma once

#include "AppKit/NSTextField.h"
#include "Foundation/NSThread.h"

#include <functional>
#include <QApplication>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <string>
#include <vector>

/// Notes every alert sheet that comes up, and presses its first button; notes every new text of the
/// status line.
class SheetUser : public QObject {
public:
    SheetUser() { qApp->installEventFilter(this); }

    bool eventFilter(QObject* object, QEvent* event) override {
        // The line's tip is set with each of its texts.
        if (event->type() == QEvent::ToolTipChange && object->objectName() == "statusLabel") {
            const auto line = dynamic_cast<NSTextField&>(*object).stringValue();
            if (lines.empty() || lines.back() != line) {
                lines.push_back(line);
            }
        }
        const QPointer box =
            event->type() == QEvent::Show ? dynamic_cast<QMessageBox*>(object) : nullptr;
        if (box) {
            texts.push_back((box->text() + " / " + box->informativeText()).toStdString());
            later([box] { box ? box->buttons().first()->click() : void(); });
        }
        return false;
    }

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
