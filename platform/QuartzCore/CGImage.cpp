#include "QuartzCore/CGImage.h"

#include <QPainter>

CGImage::CGImage(QSize size, const QPicture& recorded)
    : drawing(recorded), pixels(draw(size, size)) {}

const QImage& CGImage::rendition(QSize size) const {
    if (size == pixels.size()) {
        return pixels;
    }
    if (size != lastRendition.size()) {
        lastRendition = draw(size, pixels.size());
    }
    return lastRendition;
}

QImage CGImage::draw(QSize size, QSize unit) const {
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    if (image.isNull()) {
        return image;
    }
    QPainter painter(&image);
    painter.scale(double(size.width()) / unit.width(), double(size.height()) / unit.height());
    painter.drawPicture(QPointF(), drawing);
    return image;
}

CGContextRef CGBitmapContextCreate(std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, CGColorSpace space,
                                   std::uint32_t bitmapInfo) {
    if (bitsPerComponent != 8 || space != CGColorSpace::genericRGB ||
        bitmapInfo != (kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little)) {
        return nullptr;
    }
    return std::make_shared<CGContext>(QSize(static_cast<int>(width), static_cast<int>(height)));
}

CGImageRef CGBitmapContextCreateImage(const CGContextRef& context) {
    return context ? std::make_shared<CGImage>(context->size, context->drawing) : nullptr;
}
