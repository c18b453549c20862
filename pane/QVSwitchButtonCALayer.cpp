#include "pane/QVSwitchButtonCALayer.h"

#include "AppKit/NSColor.h"
#include "AppKit/NSGradient.h"
#include "AppKit/NSGraphicsContext.h"
#include "QuartzCore/CATransaction.h"

#include <algorithm>

namespace {

// Where the gesture stands.
constexpr std::int32_t idle = 2;
constexpr std::int32_t pressedBeside = 4;
constexpr std::int32_t pressedOnKnob = 8;
constexpr std::int32_t dragging = 16;

constexpr double knobRadius = 5.0;

CAConstraint sameAsSuperlayer(CAConstraintAttribute attribute) {
    return CAConstraint::constraintWithAttribute(attribute, "superlayer", attribute);
}

} // namespace

QVSwitchButtonCALayer::QVSwitchButtonCALayer() {
    setAutoresizingMask(kCALayerWidthSizable);
    setCornerRadius(knobRadius);
    setBorderWidth(0);
    setBounds(CGRectMake(0, 0, 20, 20));
    addConstraint(sameAsSuperlayer(kCAConstraintMinY));
    addConstraint(sameAsSuperlayer(kCAConstraintMinX));
    addConstraint(sameAsSuperlayer(kCAConstraintWidth));
    addConstraint(sameAsSuperlayer(kCAConstraintHeight));
    setLayoutManager(CAConstraintLayoutManager::layoutManager());
    setEnabled(true);
    createtheSwitch();
    _currentEventState = idle;
}

void QVSwitchButtonCALayer::createtheSwitch() {
    theSwitch = CALayer::layer();
    theSwitch->setCornerRadius(knobRadius);
    theSwitch->setBorderWidth(0.5);
    const double height = CGRectGetHeight(frame());
    theSwitch->setFrame(CGRectMake(0, 0, 2 * height, height));
    theSwitch->addConstraint(sameAsSuperlayer(kCAConstraintMinY));
    theSwitch->addConstraint(sameAsSuperlayer(kCAConstraintHeight));
    addSublayer(theSwitch);

    const auto path =
        NSBezierPath::bezierPathWithRoundedRect(theSwitch->frame(), knobRadius, knobRadius);
    notClickedImgRef = switchImageForPath(path, 0.9921, 0.9019);
    clickedImgRef = switchImageForPath(path, 0.8745, 0.9568);
    disabledImgRef = switchImageForPath(path, 0.5745, 0.7568);
    showImageAtRest();
}

CGImageRef QVSwitchButtonCALayer::switchImageForPath(const NSBezierPath& path, double topColor,
                                                     double bottomColor) {
    const NSGradient gradient(NSColor::colorWithCalibratedWhite(bottomColor, 1.0),
                              NSColor::colorWithCalibratedWhite(topColor, 1.0));
    NSImage image(path.bounds().size);
    image.lockFocus();
    gradient.drawInBezierPath(path, 90);
    image.unlockFocus();
    return createCGRefFromNSImage(image);
}

CGImageRef QVSwitchButtonCALayer::createCGRefFromNSImage(const NSImage& image) {
    const auto width = static_cast<std::size_t>(std::max(image.size().width, 0.0));
    const auto height = static_cast<std::size_t>(std::max(image.size().height, 0.0));
    const CGContextRef bitmap =
        CGBitmapContextCreate(width, height, 8, CGColorSpace::genericRGB,
                              kCGImageAlphaPremultipliedFirst | kCGBitmapByteOrder32Little);
    NSGraphicsContext::saveGraphicsState();
    NSGraphicsContext::setCurrentContext(
        NSGraphicsContext::graphicsContextWithGraphicsPort(bitmap, false));
    image.drawInRect(CGRectMake(0, 0, static_cast<double>(width), static_cast<double>(height)),
                     {{}, image.size()}, NSCompositingOperation::copy, 1.0);
    NSGraphicsContext::restoreGraphicsState();
    return CGBitmapContextCreateImage(bitmap);
}

PropertyList QVSwitchButtonCALayer::valueForKey(const std::string& key) const {
    return key == "on" ? PropertyList(isOn()) : CALayer::valueForKey(key);
}

void QVSwitchButtonCALayer::setOn(bool value) {
    if (value == _on) {
        return;
    }
    _on = value;
    settle();
    overruled = held;
}

void QVSwitchButtonCALayer::setOn(bool value, bool animated) {
    if (animated) {
        setOn(value);
        return;
    }
    const CATransactionWithoutAnimation atOnce;
    setOn(value);
}

void QVSwitchButtonCALayer::setEnabled(bool value) {
    enabled = value;
    if (!theSwitch) {
        return;
    }
    theSwitch->setContents(enabled ? clickedImgRef : disabledImgRef);
    if (isResting()) {
        settle();
    }
}

void QVSwitchButtonCALayer::mouseDown(CGPoint point) {
    held = true;
    overruled = false;
    if (CGRectContainsPoint(theSwitch->frame(), point)) {
        _currentEventState = pressedOnKnob;
        theSwitch->setContents(enabled ? clickedImgRef : disabledImgRef);
    } else {
        _currentEventState = pressedBeside;
    }
    _mouseDownPointForCurrentEvent = point;
}

void QVSwitchButtonCALayer::mouseDragged(CGPoint point) {
    if (_currentEventState != pressedOnKnob && _currentEventState != dragging) {
        return;
    }
    _currentEventState = dragging;
    moveSwitch(point);
}

void QVSwitchButtonCALayer::moveSwitch(CGPoint point) {
    if (isHidden()) {
        return;
    }
    const double dx = point.x - _mouseDownPointForCurrentEvent.x;
    if (!shouldDrag(dx)) {
        return;
    }
    const CATransactionWithoutAnimation atOnce;
    placeKnob(std::min(std::max(theSwitch->frame().origin.x + dx, 0.0), rightEnd()));
    _mouseDownPointForCurrentEvent = point;
}

bool QVSwitchButtonCALayer::shouldDrag(double distance) const {
    const double x = theSwitch->frame().origin.x;
    if (!enabled || (distance < 0 && x <= 0)) {
        return false;
    }
    return distance <= 0 || x < rightEnd();
}

void QVSwitchButtonCALayer::mouseUp(CGPoint) {
    willChangeValueForKey("on");
    held = false;
    overruled ? settle() : switchSide();
    overruled = false;
    showImageAtRest();
    didChangeValueForKey("on");
}

void QVSwitchButtonCALayer::switchSide() {
    if (!enabled) {
        return;
    }
    const CGRect knob = theSwitch->frame();
    const bool value = _currentEventState == dragging
                           ? CGRectGetMidX(knob) > CGRectGetWidth(frame()) / 2
                           : knob.origin.x == 0;
    setOn(value);
    settle();
}

/// Puts the knob on the side of `on`, wherever it stands. What a gesture has done until then is
/// over.
void QVSwitchButtonCALayer::settle() {
    if (enabled) {
        placeKnob(restingPlace());
        _currentEventState = idle;
    }
}

void QVSwitchButtonCALayer::showImageAtRest() {
    theSwitch->setContents(enabled ? notClickedImgRef : disabledImgRef);
}

void QVSwitchButtonCALayer::placeKnob(double x) {
    CGRect knob = theSwitch->frame();
    knob.origin.x = x;
    theSwitch->setFrame(knob);
}

double QVSwitchButtonCALayer::rightEnd() const {
    return CGRectGetWidth(frame()) - CGRectGetWidth(theSwitch->frame());
}

bool QVSwitchButtonCALayer::isResting() const { return enabled && (!held || overruled); }

void QVSwitchButtonCALayer::resizeSublayersWithOldSize(const CGSize& oldSize) {
    CALayer::resizeSublayersWithOldSize(oldSize);
    if (!theSwitch) {
        return;
    }
    const CGRect knob = theSwitch->frame();
    const bool stoodAtRightEnd = knob.origin.x > 0 && CGRectGetMaxX(knob) >= oldSize.width;
    if (isResting()) {
        placeKnob(restingPlace());
    } else if (stoodAtRightEnd) {
        placeKnob(rightEnd());
    } else {
        placeKnob(std::min(knob.origin.x, std::max(rightEnd(), 0.0)));
    }
}
