#include "AppKit/NSBezierPath.h"

#include "AppKit/NSGraphicsContext.h"

#include <QPainter>

namespace {
constexpr double lineWidth = 1.0;
}

NSBezierPath NSBezierPath::bezierPathWithRoundedRect(CGRect rect, double xRadius, double yRadius) {
    QPainterPath path;
    path.addRoundedRect(QRectF(rect.origin.x, rect.origin.y, rect.size.width, rect.size.height),
                        xRadius, yRadius);
    return NSBezierPath(path);
}

CGRect NSBezierPath::bounds() const {
    const QRectF rect = path.boundingRect();
    return CGRectMake(rect.x(), rect.y(), rect.width(), rect.height());
}

void NSBezierPath::stroke() const {
    const auto& context = NSGraphicsContext::currentContext();
    if (!context) {
        return;
    }
    QPainter& painter = context->painter();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.strokePath(path, QPen(painter.pen().color(), lineWidth));
}
