#include "AppKit/NSProgressIndicator.h"

#include "AppKit/NSViewRegistry.h"

#include <QPainter>

namespace {

const NSViewClass<NSProgressIndicator> viewClass("NSProgressIndicator");
constexpr int spokes = 12;
constexpr int millisecondsPerStep = 80;

} // namespace

NSProgressIndicator::NSProgressIndicator(QWidget* parent) : NSControlWidget(parent) {
    timer.setInterval(millisecondsPerStep);
    connect(&timer, &QTimer::timeout, this, [this] {
        step = (step + 1) % spokes;
        update();
    });
}

void NSProgressIndicator::startAnimation() { spin(true); }

void NSProgressIndicator::stopAnimation() { spin(false); }

void NSProgressIndicator::spin(bool spins) {
    if (spins == timer.isActive()) {
        return;
    }
    spins ? timer.start() : timer.stop();
    update();
    NSAccessibilityPostChange(*this, spins ? NSAccessibilityChange::appeared
                                           : NSAccessibilityChange::vanished);
}

void NSProgressIndicator::paintEvent(QPaintEvent*) {
    if (!timer.isActive()) {
        return;
    }
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(QRectF(rect()).center());
    const double radius = std::min(width(), height()) / 2.0 - 1;
    QColor color = palette().color(QPalette::WindowText);
    for (int spoke = 0; spoke < spokes; ++spoke) {
        const int age = (step - spoke + spokes) % spokes; // the youngest is the darkest
        color.setAlphaF(static_cast<float>(1.0 - 0.9 * age / spokes));
        painter.setPen(QPen(color, radius / 5, Qt::SolidLine, Qt::RoundCap));
        painter.save();
        painter.rotate(360.0 * spoke / spokes);
        painter.drawLine(QPointF(0, -radius * 0.5), QPointF(0, -radius));
        painter.restore();
    }
}
