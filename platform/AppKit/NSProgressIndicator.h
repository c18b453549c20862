// A spinning wheel for work of unknown length. It is there for the eye and for assistive
// technology, and wakes the program, only while it spins.
#pragma once

#include "AppKit/NSAccessibility.h"
#include "AppKit/NSControl.h"

#include <QTimer>
#include <QWidget>

class NSProgressIndicator : public NSControlWidget<QWidget>, public NSAccessibility {
public:
    explicit NSProgressIndicator(QWidget* parent = nullptr);

    /// Starting twice is as starting once.
    void startAnimation();
    void stopAnimation();

    QSize sizeHint() const override { return {16, 16}; }
    NSAccessibilityDescription accessibilityDescription() const override {
        return {.role = NSAccessibilityRole::busyIndicator, .shown = timer.isActive()};
    }

protected:
    /// Whether it spins.
    PropertyList shownValue() const override { return timer.isActive(); }
    void paintEvent(QPaintEvent* event) override;

private:
    void spin(bool spins);

    QTimer timer;
    int step = 0;
};
