// A checkbox. A click turns it over and sends its action.
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

protected:
    PropertyList shownValue() const override { return state(); }
};
