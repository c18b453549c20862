#include "AppKit/NSImage.h"

#include "AppKit/NSGraphicsContext.h"

#include <cmath>
#include <QPainter>

NSImage::NSImage(CGSize size)
    : extent(size),
      canvas(std::make_shared<CGContext>(QSize(static_cast<int>(std::ceil(size.width)),
                                               static_cast<int>(std::ceil(size.height))))) {}

void NSImage::lockFocus() {
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithGraphicsPort(canvas, false));
}

void NSImage::unlockFocus() { NSGraphicsContext::restoreGraphicsState(); }

void NSImage::drawInRect(CGRect rect, CGRect fromRect, NSCompositingOperation operation,
                         double fraction) const {
    const auto& context = NSGraphicsContext::currentContext();
    if (!context || fromRect.size.width <= 0 || fromRect.size.height <= 0) {
        return;
    }
    QPainter& painter = context->painter();
    painter.save();
    const QRectF target(rect.origin.x, rect.origin.y, rect.size.width, rect.size.height);
    if (operation == NSCompositingOperation::copy) {
        painter.setCompositionMode(QPainter::CompositionMode_Clear);
        painter.fillRect(target, Qt::black);
        painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    }
    painter.setClipRect(target, Qt::IntersectClip);
    painter.setOpacity(fraction);
    painter.translate(target.topLeft());
    painter.scale(rect.size.width / fromRect.size.width, -rect.size.height / fromRect.size.height);
    painter.translate(-fromRect.origin.x, fromRect.origin.y - canvas->size.height());
    painter.drawPicture(QPointF(), canvas->drawing);
    painter.restore();
}
