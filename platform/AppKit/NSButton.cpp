#include "AppKit/NSButton.h"

NSButton::NSButton(QWidget* parent) : NSControlWidget(parent) {
    connect(this, &QCheckBox::clicked, this, [this] { sendAction(); });
}
