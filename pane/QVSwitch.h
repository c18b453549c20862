// The large on/off switch: a rounded track with a movable knob. The view holds the public state,
// hands the mouse to the knob layer, and mirrors the knob layer's "on" into its own. "on" is
// observable: observers are told after every setOn(value), also one that changes nothing, and by
// nothing else. Main thread only.
#pragma once

#include "AppKit/NSBezierPath.h"
#include "AppKit/NSGradient.h"
#include "AppKit/NSView.h"

#include <memory>
#include <string>

class QVSwitchButtonCALayer;

class QVSwitch : public NSView {
public:
    explicit QVSwitch(QWidget* parent = nullptr);
    ~QVSwitch() override;

    bool isOn() const { return _on; }
    /// Whether the user may operate the switch; false until setEnabled is first called.
    bool isEnabled() const { return enabled; }
    void setOn(bool value);
    /// Tells no observer. The knob glides or jumps; the value already held does nothing.
    void setOn(bool value, bool animated);
    void setEnabled(bool value);

    /// The track's filling; the default one if none was set.
    const std::shared_ptr<NSGradient>& gradient();
    /// Does not redraw.
    void setGradient(std::shared_ptr<NSGradient> gradient);

    /// The gradient under the key "bgGradient".
    void initWithCoder(NSCoder& coder) override;
    void encodeWithCoder(NSCoder& coder) override;
    void awakeFromNib() override;
    /// Builds the layers. Once.
    void setupLayers();

    void drawRect(CGRect rect) override;
    void coreAnimationDrawRect(CGRect rect);

    CGPoint pointForEvent(const NSEvent& event) const;
    void mouseDown(const NSEvent& event) override;
    void mouseDragged(const NSEvent& event) override;
    void mouseUp(const NSEvent& event) override;
    /// The space bar acts as a press and release on the knob.
    bool keyDown(const NSEvent& event) override;

    bool acceptsFirstResponder() const override { return true; }
    NSBezierPath focusRingPath() const override;
    NSAccessibilityDescription accessibilityDescription() const override;
    /// A press and release on the knob.
    void accessibilityPerformPress() override;

    /// The key "on".
    PropertyList valueForKey(const std::string& key) const override;
    void setValueForKey(const PropertyList& value, const std::string& key) override;

private:
    std::shared_ptr<NSGradient> _bgGradient;
    std::shared_ptr<QVSwitchButtonCALayer> buttonLayer;
    std::shared_ptr<CALayer> mainLayer;
    bool _on = false;
    bool enabled = false;
};
