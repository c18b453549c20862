#include "pane/QVSwitch.h"

#include "AppKit/NSViewRegistry.h"
#include "Foundation/NSCoder.h"
#include "pane/QVSwitchButtonCALayer.h"

namespace {

const NSViewClass<QVSwitch> viewClass("QVSwitch");

constexpr double trackRadius = 5.0;
constexpr const char* gradientKey = "bgGradient";

NSColor grey(double white) { return NSColor::colorWithCalibratedWhite(white, 1.0); }

} // namespace

QVSwitch::QVSwitch(QWidget* parent) : NSView(parent) {}

QVSwitch::~QVSwitch() {
    if (!mainLayer) {
        return;
    }
    mainLayer->setDelegate(nullptr); // someone else may still hold the layers
    for (const auto& each : mainLayer->sublayers()) {
        each->setDelegate(nullptr);
    }
}

void QVSwitch::awakeFromNib() { setupLayers(); }

void QVSwitch::setupLayers() {
    setWantsLayer(true);
    mainLayer = layer();
    mainLayer->setName("mainLayer");

    mainLayer->setFrame({{0, 0}, frame().size});
    mainLayer->setDelegate(this);
    mainLayer->setNeedsDisplay();
    setLayer(mainLayer);

    const CGPoint centre{CGRectGetMidX(mainLayer->frame()), CGRectGetMidY(mainLayer->frame())};

    const auto container = CALayer::layer();
    container->setName("contentContainer");
    container->setBounds(mainLayer->bounds());
    container->setDelegate(this);
    container->setAnchorPoint({0.5, 0.5});
    container->setPosition(centre);
    container->setAutoresizingMask(kCALayerWidthSizable | kCALayerHeightSizable);
    container->setLayoutManager(CAConstraintLayoutManager::layoutManager());
    layer()->addSublayer(container);

    buttonLayer = std::make_shared<QVSwitchButtonCALayer>();
    buttonLayer->setName("switchLayer");
    container->addSublayer(buttonLayer);

    container->layoutSublayers();
    container->layoutIfNeeded();

    bind("on", *buttonLayer, "on");
}

void QVSwitch::setOn(bool value) {
    willChangeValueForKey("on");
    if (value != _on) {
        _on = value;
        buttonLayer->setOn(value);
        NSAccessibilityPostChange(*this, NSAccessibilityChange::on);
    }
    didChangeValueForKey("on");
}

void QVSwitch::setOn(bool value, bool animated) {
    if (value == _on) {
        return;
    }
    _on = value;
    buttonLayer->setOn(value, animated);
    NSAccessibilityPostChange(*this, NSAccessibilityChange::on);
}

void QVSwitch::setEnabled(bool value) {
    const bool changes = value != enabled;
    enabled = value;
    buttonLayer->setEnabled(value);
    if (changes) {
        NSAccessibilityPostChange(*this, NSAccessibilityChange::enabled);
    }
}

PropertyList QVSwitch::valueForKey(const std::string& key) const {
    return key == "on" ? PropertyList(isOn()) : NSView::valueForKey(key);
}

void QVSwitch::setValueForKey(const PropertyList& value, const std::string& key) {
    if (key == "on") {
        setOn(value.integer().value_or(0) != 0);
    } else {
        NSView::setValueForKey(value, key);
    }
}

const std::shared_ptr<NSGradient>& QVSwitch::gradient() {
    if (!_bgGradient) {
        _bgGradient = std::make_shared<NSGradient>(grey(0.72), grey(0.26));
    }
    return _bgGradient;
}

void QVSwitch::setGradient(std::shared_ptr<NSGradient> gradient) {
    _bgGradient = std::move(gradient);
}

void QVSwitch::initWithCoder(NSCoder& coder) {
    NSView::initWithCoder(coder);
    setGradient(coder.decodeObjectForKey<NSGradient>(gradientKey));
}

void QVSwitch::encodeWithCoder(NSCoder& coder) {
    NSView::encodeWithCoder(coder);
    coder.encodeObject(gradient(), gradientKey);
}

void QVSwitch::drawRect(CGRect rect) { coreAnimationDrawRect(rect); }

void QVSwitch::coreAnimationDrawRect(CGRect rect) {
    if (layer() != mainLayer) {
        setLayer(mainLayer);
    }
    const auto track = NSBezierPath::bezierPathWithRoundedRect(rect, trackRadius, trackRadius);
    gradient()->drawInBezierPath(track, 90);
    grey(0.27).set();
    track.stroke();
}

CGPoint QVSwitch::pointForEvent(const NSEvent& event) const {
    return convertPoint(event.locationInWindow(), nullptr);
}

void QVSwitch::mouseDown(const NSEvent& event) {
    if (event.clickCount() <= 1) {
        buttonLayer->mouseDown(pointForEvent(event));
    }
}

void QVSwitch::mouseDragged(const NSEvent& event) {
    buttonLayer->mouseDragged(pointForEvent(event));
}

void QVSwitch::mouseUp(const NSEvent& event) {
    if (event.clickCount() <= 1) {
        buttonLayer->mouseUp(pointForEvent(event));
    }
}

bool QVSwitch::keyDown(const NSEvent& event) {
    if (event.characters() != " ") {
        return false;
    }
    if (!event.isARepeat()) {
        accessibilityPerformPress();
    }
    return true;
}

void QVSwitch::accessibilityPerformPress() {
    const CGRect knob = buttonLayer->knobFrame();
    const CGPoint middle{CGRectGetMidX(knob), CGRectGetMidY(knob)};
    buttonLayer->mouseDown(middle);
    buttonLayer->mouseUp(middle);
}

NSBezierPath QVSwitch::focusRingPath() const {
    return NSBezierPath::bezierPathWithRoundedRect(bounds(), trackRadius, trackRadius);
}

NSAccessibilityDescription QVSwitch::accessibilityDescription() const {
    return {.role = NSAccessibilityRole::toggle, .label = "On/Off", .enabled = enabled, .on = _on};
}
