#include "AppKit/NSGradient.h"

#include "AppKit/NSBezierPath.h"
#include "AppKit/NSGraphicsContext.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <QLinearGradient>
#include <QPainter>

namespace {

const NSCodingClass<NSGradient> codingClass("NSGradient");

void encodeColor(const NSColor& color, NSCoder& coder, const std::string& key) {
    coder.encodeDouble(color.whiteComponent(), key + "White");
    coder.encodeDouble(color.alphaComponent(), key + "Alpha");
}

std::optional<NSColor> decodeColor(const NSCoder& coder, const std::string& key) {
    const auto white = coder.decodeDoubleForKey(key + "White");
    const auto alpha = coder.decodeDoubleForKey(key + "Alpha");
    if (!white || !alpha) {
        return std::nullopt;
    }
    return NSColor::colorWithCalibratedWhite(std::clamp(*white, 0.0, 1.0),
                                             std::clamp(*alpha, 0.0, 1.0));
}

/// The line that a blend at this angle follows: through the middle of the rectangle, as long as the
/// rectangle is in that direction.
QLineF lineThrough(const CGRect& rect, double angle) {
    const double radians = angle * std::numbers::pi / 180;
    const QPointF direction(std::cos(radians), std::sin(radians));
    const QPointF middle(CGRectGetMidX(rect), CGRectGetMidY(rect));
    const double half =
        (std::abs(direction.x()) * rect.size.width + std::abs(direction.y()) * rect.size.height) /
        2;
    const double reach = std::max(half - 0.5, 0.0);
    return {middle - direction * reach, middle + direction * reach};
}

} // namespace

void NSGradient::drawInBezierPath(const NSBezierPath& path, double angle) const {
    const auto& context = NSGraphicsContext::currentContext();
    if (!context) {
        return;
    }
    const QLineF line = lineThrough(path.bounds(), angle);
    QLinearGradient blend(line.p1(), line.p2());
    blend.setColorAt(0, start.screenColor());
    blend.setColorAt(1, end.screenColor());
    QPainter& painter = context->painter();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillPath(path.painterPath(), blend);
}

void NSGradient::encodeWithCoder(NSCoder& coder) const {
    encodeColor(start, coder, "start");
    encodeColor(end, coder, "end");
}

std::shared_ptr<NSGradient> NSGradient::initWithCoder(const NSCoder& coder) {
    const auto start = decodeColor(coder, "start");
    const auto end = decodeColor(coder, "end");
    return start && end ? std::make_shared<NSGradient>(*start, *end) : nullptr;
}
