#include "QuartzCore/CALayer.h"

#include "QuartzCore/CATransaction.h"

#include <algorithm>
#include <cmath>
#include <QPainter>

namespace {

QSize pixelSize(const CGSize& size, double scale) {
    return {static_cast<int>(std::ceil(size.width * scale)),
            static_cast<int>(std::ceil(size.height * scale))};
}

double scaleOf(const QPainter& painter) { return std::abs(painter.deviceTransform().m11()); }

CGRect translated(const CGRect& rect, const CGPoint& by) {
    return {{rect.origin.x + by.x, rect.origin.y + by.y}, rect.size};
}

CGPoint difference(const CGPoint& a, const CGPoint& b) { return {a.x - b.x, a.y - b.y}; }

/// In bands of less than a hundred rows: Qt divides a taller picture among threads, which takes
/// longer than to paint it on this one.
void drawInBands(QPainter& painter, const QRectF& rect, const QImage& picture) {
    constexpr int mostRows = 95;
    const double rowHeight = rect.height() / picture.height();
    for (int top = 0; top < picture.height(); top += mostRows) {
        const int rows = std::min(mostRows, picture.height() - top);
        painter.drawImage(
            QRectF(rect.x(), rect.y() + top * rowHeight, rect.width(), rows * rowHeight), picture,
            QRectF(0, top, picture.width(), rows));
    }
}

} // namespace

CALayer::~CALayer() {
    for (const auto& each : children) {
        each->parent = nullptr;
    }
}

CGRect CALayer::frameOf(const CGPoint& at, const CGRect& extent) const {
    return {{at.x - anchor.x * extent.size.width, at.y - anchor.y * extent.size.height},
            extent.size};
}

CGRect CALayer::frame() const { return frameOf(position(), bounds()); }

CGRect CALayer::shownFrame() const { return frameOf(positionValue.shown(), boundsValue.shown()); }

void CALayer::setFrame(const CGRect& frame) {
    setBounds({bounds().origin, frame.size});
    setPosition({frame.origin.x + anchor.x * frame.size.width,
                 frame.origin.y + anchor.y * frame.size.height});
}

void CALayer::setBounds(const CGRect& newBounds) {
    const CGRect before = shownFrame();
    const CGSize oldSize = bounds().size;
    if (!boundsValue.set(newBounds, durationOfChange())) {
        return;
    }
    changed(CGRectUnion(before, frame()));
    if (newBounds.size != oldSize) {
        setNeedsLayout();
        resizeSublayersWithOldSize(oldSize);
    }
}

void CALayer::setPosition(const CGPoint& newPosition) {
    const CGRect before = shownFrame();
    if (positionValue.set(newPosition, durationOfChange())) {
        changed(CGRectUnion(before, frame()));
    }
}

void CALayer::setAnchorPoint(const CGPoint& point) {
    const CGRect before = shownFrame();
    anchor = point;
    changed(CGRectUnion(before, frame()));
}

double CALayer::durationOfChange() const {
    return wasShown ? CATransaction::animationDuration() : 0;
}

bool CALayer::isMoving() const {
    return positionValue.isMoving() || boundsValue.isMoving() ||
           std::any_of(children.begin(), children.end(),
                       [](const auto& each) { return each->isMoving(); });
}

std::optional<CGRect> CALayer::movingRect() const {
    std::optional<CGRect> rect;
    const auto add = [&](const CGRect& more) { rect = rect ? CGRectUnion(*rect, more) : more; };
    const CGRect shown = shownFrame();
    if (positionValue.isMoving() || boundsValue.isMoving()) {
        add(CGRectUnion(shown, frame()));
    }
    for (const auto& each : children) {
        if (const auto inside = each->movingRect()) {
            add(translated(*inside, difference(shown.origin, bounds().origin)));
        }
    }
    return rect;
}

void CALayer::setCornerRadius(double newRadius) {
    radius = newRadius;
    changed();
}

void CALayer::setBorderWidth(double width) {
    border = width;
    changed();
}

void CALayer::setHidden(bool hide) {
    hidden = hide;
    changed();
}

void CALayer::setContents(CGImageRef contents) {
    if (image == contents) {
        return;
    }
    image = std::move(contents);
    changed();
}

void CALayer::setNeedsDisplay() {
    needsDisplay = true;
    changed();
}

void CALayer::changed(const CGRect& dirty) {
    CGRect rect = dirty;
    const CALayer* root = this;
    while (root->parent) {
        root = root->parent;
        rect = translated(rect, difference(root->shownFrame().origin, root->bounds().origin));
    }
    if (root->host) {
        root->host->layerTreeChanged(rect);
    }
}

void CALayer::addSublayer(std::shared_ptr<CALayer> layer) {
    layer->removeFromSuperlayer();
    layer->parent = this;
    children.push_back(std::move(layer));
    setNeedsLayout();
    children.back()->changed();
}

void CALayer::removeFromSuperlayer() {
    if (!parent) {
        return;
    }
    changed();
    CALayer& before = *parent;
    parent = nullptr;
    std::erase_if(before.children, [this](const auto& each) { return each.get() == this; });
}

void CALayer::setLayoutManager(std::shared_ptr<CAConstraintLayoutManager> newManager) {
    manager = std::move(newManager);
    setNeedsLayout();
}

void CALayer::addConstraint(CAConstraint constraint) {
    layoutConstraints.push_back(std::move(constraint));
    if (parent) {
        parent->setNeedsLayout();
    }
}

void CALayer::layoutSublayers() {
    if (manager) {
        manager->layoutSublayersOfLayer(*this);
    }
}

void CALayer::layoutIfNeeded() {
    if (needsLayout) {
        needsLayout = false;
        layoutSublayers();
    }
    for (const auto& each : children) {
        each->layoutIfNeeded();
    }
}

void CALayer::resizeSublayersWithOldSize(const CGSize& oldSize) {
    for (const auto& each : children) {
        each->resizeWithOldSuperlayerSize(oldSize);
    }
}

void CALayer::resizeWithOldSuperlayerSize(const CGSize& oldSize) {
    CGRect rect = frame();
    if (mask & kCALayerWidthSizable) {
        rect.size.width += parent->bounds().size.width - oldSize.width;
    }
    if (mask & kCALayerHeightSizable) {
        rect.size.height += parent->bounds().size.height - oldSize.height;
    }
    setFrame(rect);
}

void CALayer::paint(QPainter& painter, const QPointF& topLeft) {
    if (hidden) {
        return;
    }
    wasShown = true;
    const CGRect shown = boundsValue.shown();
    const QRectF rect(topLeft, QSizeF(shown.size.width, shown.size.height));
    paintContent(painter, rect);
    for (const auto& each : children) {
        const CGRect inside = each->shownFrame();
        each->paint(painter, topLeft + QPointF(inside.origin.x - shown.origin.x,
                                               CGRectGetMaxY(shown) - CGRectGetMaxY(inside)));
    }
    paintBorder(painter, rect);
}

void CALayer::paintContent(QPainter& painter, const QRectF& rect) {
    const CGSize size = boundsValue.shown().size;
    const double scale = scaleOf(painter);
    if (image) {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        drawInBands(painter, rect, image->rendition(pixelSize(size, scale)));
        return;
    }
    if (!delegate || (!needsDisplay && backing.isNull())) {
        return;
    }
    if (needsDisplay || backing.size() != pixelSize(size, scale)) {
        drawBacking(size, scale);
    }
    drawInBands(painter, QRectF(rect.topLeft(), QSizeF(backing.size()) / scale), backing);
}

void CALayer::drawBacking(const CGSize& size, double scale) {
    needsDisplay = false;
    backing = QImage(pixelSize(size, scale), QImage::Format_ARGB32_Premultiplied);
    backing.fill(Qt::transparent);
    if (backing.isNull()) {
        return;
    }
    QPainter painter(&backing);
    painter.scale(scale, -scale);
    painter.translate(-bounds().origin.x, -bounds().origin.y - size.height);
    delegate->drawLayer(*this, painter);
}

void CALayer::paintBorder(QPainter& painter, const QRectF& rect) const {
    if (border <= 0) {
        return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(Qt::black, border));
    painter.setBrush(Qt::NoBrush);
    const double inset = border / 2;
    const double corner = std::max(radius - inset, 0.0);
    painter.drawRoundedRect(rect.adjusted(inset, inset, -inset, -inset), corner, corner);
}
