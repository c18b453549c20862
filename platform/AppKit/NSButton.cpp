#include "AppKit/NSButton.h"

#include "AppKit/NSViewRegistry.h"

namespace {
const NSViewClass<NSButton> viewClass("NSButton");
}

NSButton::NSButton(QWidget* parent) : NSControlWidget(parent) {
    connect(this, &QCheckBox::clicked, this, [this] { sendAction(); });
}
