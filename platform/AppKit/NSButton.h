// A checkbox. A click turns it over and sends its action. Its title takes several lines where there
// is no room for one.
#pragma once

#include "AppKit/NSControl.h"

#include <QCheckBox>

class NSButton : public NSControlWidget<QCheckBox> {
public:
    explicit NSButton(QWidget* parent = nullptr);

    /// 0 off, 1 on.
    int state() const { return isChecked() ? 1 : 0; }
    /// Any number but 0 switches it on. Sends no action.
    void setState(int state) { setChecked(state != 0); }

    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return sizeIn(width).height(); }

protected:
    void paintEvent(QPaintEvent* event) override;
    PropertyList shownValue() const override { return state(); }

private:
    QString brokenTitle(int width) const;
    QSize sizeIn(int width) const;
};
