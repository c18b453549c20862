#include "AppKit/NSView.h"

#include "AppKit/NSBezierPath.h"
#include "AppKit/NSGraphicsContext.h"
#include "Foundation/NSCoder.h"
#include "QuartzCore/CATransaction.h"

#include <QPainter>
#include <QPaintEvent>
#include <QScreen>

namespace {

CGPoint upwards(const QPointF& point, const QWidget& inside) {
    return {point.x(), inside.height() - point.y()};
}

QPointF downwards(const CGPoint& point, const QWidget& inside) {
    return {point.x, inside.height() - point.y};
}

/// The pixels that a rectangle touches.
QRect downwards(const CGRect& rect, const QWidget& inside) {
    return QRectF(rect.origin.x, inside.height() - CGRectGetMaxY(rect), rect.size.width,
                  rect.size.height)
        .toAlignedRect();
}

/// The screen's pace; some virtual screens say that they have none.
double framesPerSecond(const QWidget& widget) {
    const double pace = widget.screen()->refreshRate();
    return pace >= 1 ? pace : 60;
}

} // namespace

NSView::NSView(QWidget* parent) : QWidget(parent) {}

NSView::~NSView() {
    if (rootLayer) {
        rootLayer->setHost(nullptr);
    }
}

void NSView::initWithCoder(NSCoder& coder) {
    const auto width = coder.decodeDoubleForKey("frameWidth");
    const auto height = coder.decodeDoubleForKey("frameHeight");
    if (width && height) {
        resize(static_cast<int>(*width), static_cast<int>(*height));
    }
}

void NSView::encodeWithCoder(NSCoder& coder) {
    coder.encodeDouble(width(), "frameWidth");
    coder.encodeDouble(height(), "frameHeight");
}

CGRect NSView::frame() const {
    const int bottom = y() + height();
    return CGRectMake(x(), parentWidget() ? parentWidget()->height() - bottom : y(), width(),
                      height());
}

CGRect NSView::bounds() const { return CGRectMake(0, 0, width(), height()); }

/// The x of what reaches from x over the width, from the view's coordinates to its widget's or
/// back.
double NSView::mirrored(double x, double width) const {
    return layoutDirection() == Qt::RightToLeft ? QWidget::width() - x - width : x;
}

void NSView::mirror(QPainter& painter) const {
    if (layoutDirection() == Qt::RightToLeft) {
        painter.translate(width(), 0);
        painter.scale(-1, 1);
    }
}

CGPoint NSView::convertPoint(CGPoint point, const NSView* fromView) const {
    if (fromView) {
        point.x = fromView->mirrored(point.x);
    }
    const QWidget* from = fromView ? fromView : window();
    const QWidget* top = window();
    const CGPoint here = upwards(mapFrom(top, from->mapTo(top, downwards(point, *from))), *this);
    return {mirrored(here.x), here.y};
}

void NSView::setWantsLayer(bool wants) {
    if (!wants) {
        setLayer(nullptr);
    } else if (!rootLayer) {
        setLayer(CALayer::layer());
    }
}

void NSView::setLayer(std::shared_ptr<CALayer> layer) {
    if (layer == rootLayer) {
        return;
    }
    if (rootLayer) {
        rootLayer->setHost(nullptr);
    }
    rootLayer = std::move(layer);
    if (rootLayer) {
        rootLayer->setHost(this);
        fitLayer();
    }
    update();
}

void NSView::fitLayer() {
    const CATransactionWithoutAnimation atOnce;
    rootLayer->setFrame(bounds());
    rootLayer->layoutIfNeeded();
    rootLayer->setNeedsDisplay();
}

void NSView::setNeedsDisplay(bool needed) {
    if (!needed) {
        return;
    }
    if (rootLayer) {
        rootLayer->setNeedsDisplay();
    }
    update();
}

void NSView::drawLayer(CALayer& layer, QPainter& painter) {
    if (&layer != rootLayer.get()) {
        return;
    }
    const NSGraphicsContextScope scope(std::make_shared<NSGraphicsContext>(painter));
    drawRect(layer.bounds());
}

void NSView::layerTreeChanged(const CGRect& dirty) {
    updateRect(frameTimer == 0 ? dirty : CGRectUnion(dirty, movingRect));
    if (frameTimer != 0 || !rootLayer->isMoving()) {
        return;
    }
    movingRect = dirty;
    frameTimer = startTimer(static_cast<int>(1000 / framesPerSecond(*this)), Qt::PreciseTimer);
}

void NSView::updateRect(const CGRect& dirty) {
    CGRect shown = dirty;
    shown.origin.x = mirrored(dirty.origin.x, dirty.size.width);
    update(downwards(shown, *this));
}

void NSView::timerEvent(QTimerEvent* event) {
    if (event->timerId() != frameTimer) {
        QWidget::timerEvent(event);
        return;
    }
    const auto moving = rootLayer ? rootLayer->movingRect() : std::nullopt;
    updateRect(moving ? CGRectUnion(movingRect, *moving) : movingRect);
    if (moving) {
        movingRect = *moving;
        return;
    }
    killTimer(frameTimer);
    frameTimer = 0;
}

void NSView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    mirror(painter);
    if (const std::shared_ptr<CALayer> layer = rootLayer) {
        layer->layoutIfNeeded();
        layer->paint(painter, QPointF());
    } else {
        painter.save();
        painter.translate(0, height());
        painter.scale(1, -1);
        {
            const NSGraphicsContextScope scope(std::make_shared<NSGraphicsContext>(painter));
            drawRect(bounds());
        }
        painter.restore();
    }
    if (showsFocusRing && hasFocus()) {
        paintFocusRing(painter);
    }
}

void NSView::paintFocusRing(QPainter& painter) const {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(0, height());
    painter.scale(1, -1);
    painter.setClipPath(focusRingPath().painterPath());
    // The light line sets the ring off from what it surrounds, whatever the colour scheme.
    painter.strokePath(focusRingPath().painterPath(), QPen(Qt::white, 7));
    painter.strokePath(focusRingPath().painterPath(), QPen(palette().highlight(), 5));
}

NSBezierPath NSView::focusRingPath() const {
    return NSBezierPath::bezierPathWithRoundedRect(bounds(), 0, 0);
}

bool NSView::event(QEvent* event) {
    if (event->type() == QEvent::Polish && acceptsFirstResponder()) {
        setFocusPolicy(Qt::StrongFocus);
    }
    return QWidget::event(event);
}

void NSView::resizeEvent(QResizeEvent*) {
    if (rootLayer) {
        fitLayer();
    }
}

void NSView::focusInEvent(QFocusEvent* event) {
    const Qt::FocusReason reason = event->reason();
    if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason) {
        showsFocusRing = reason != Qt::MouseFocusReason;
    }
    QWidget::focusInEvent(event);
}

NSEvent NSView::mouseEvent(const QMouseEvent& event) const {
    const QWidget* top = window();
    return {upwards(mapTo(top, event.position()), *top), clicks};
}

void NSView::press(QMouseEvent& event) {
    if (event.button() != Qt::LeftButton) {
        event.ignore();
        return;
    }
    clicks =
        clickCounter.press(event.type() == QEvent::MouseButtonDblClick, event.globalPosition());
    mouseDown(mouseEvent(event));
}

void NSView::mousePressEvent(QMouseEvent* event) { press(*event); }

void NSView::mouseDoubleClickEvent(QMouseEvent* event) { press(*event); }

void NSView::mouseMoveEvent(QMouseEvent* event) {
    if (event->buttons() & Qt::LeftButton) {
        mouseDragged(mouseEvent(*event));
    } else {
        event->ignore();
    }
}

void NSView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        mouseUp(mouseEvent(*event));
    } else {
        event->ignore();
    }
}

void NSView::keyPressEvent(QKeyEvent* event) {
    if (!keyDown(NSEvent(event->text().toStdString(), event->isAutoRepeat()))) {
        QWidget::keyPressEvent(event);
    }
}
