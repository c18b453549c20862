// Bitmap images, and the context that they are drawn in. An image knows the drawing that it was
// made from, so that it can be shown sharp on a screen of any scale; its own bitmap stays what it
// is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <QImage>
#include <QPicture>
#include <QSize>

enum class CGColorSpace { genericRGB };

enum : std::uint32_t {
    kCGImageAlphaPremultipliedFirst = 2,
    kCGBitmapByteOrder32Little = 2U << 12,
};

class CGImage {
public:
    CGImage(QSize size, const QPicture& recorded);

    std::size_t width() const { return static_cast<std::size_t>(pixels.width()); }
    std::size_t height() const { return static_cast<std::size_t>(pixels.height()); }

    /// The image's own pixels, top row first.
    const QImage& bitmap() const { return pixels; }
    /// The same picture drawn for `size` pixels, as large or as stretched as that is. The last one
    /// is kept.
    const QImage& rendition(QSize size) const;

private:
    QImage draw(QSize size, QSize unit) const;

    QPicture drawing; // in units of the bitmap's pixels, y downwards
    QImage pixels;
    mutable QImage lastRendition;
};

using CGImageRef = std::shared_ptr<CGImage>;

/// Records what is drawn. Main thread only.
class CGContext {
public:
    explicit CGContext(QSize size) : size(size) {}

    QSize size;
    QPicture drawing;
};

using CGContextRef = std::shared_ptr<CGContext>;

/// A transparent bitmap to draw in. Null for anything but the one pixel form there is: 8 bits a
/// component, generic RGB, alpha premultiplied and stored first, 32-bit little-endian (bitmap info
/// 8194). Rows are as long as the platform likes.
CGContextRef CGBitmapContextCreate(std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, CGColorSpace space,
                                   std::uint32_t bitmapInfo);
/// What has been drawn so far. Null for no context.
CGImageRef CGBitmapContextCreateImage(const CGContextRef& context);
