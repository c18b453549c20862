#include "AppKit/NSColor.h"

#include "AppKit/NSGraphicsContext.h"

#include <QPainter>

QColor NSColor::screenColor() const {
    const auto grey = static_cast<float>(white);
    return QColor::fromRgbF(grey, grey, grey, static_cast<float>(alpha));
}

void NSColor::set() const {
    if (const auto& context = NSGraphicsContext::currentContext()) {
        context->painter().setPen(screenColor());
        context->painter().setBrush(screenColor());
    }
}
