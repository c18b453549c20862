// A spinning wheel for work of unknown length. It is drawn and wakes the program only while it
// spins.
#pragma once

#include "AppKit/NSControl.h"

#include <QTimer>
#include <QWidget>

class NSProgressIndicator : public NSControlWidget<QWidget> {
public:
    explicit NSProgressIndicator(QWidget* parent = nullptr);

    /// Starting twice is as starting once.
    void startAnimation();
    void stopAnimation();

    QSize sizeHint() const override { return {16, 16}; }

protected:
    /// Whether it spins.
    PropertyList shownValue() const override { return timer.isActive(); }
    void paintEvent(QPaintEvent* event) override;

private:
    QTimer timer;
    int step = 0;
};
