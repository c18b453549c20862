// The layer that does the work of the on/off switch: it fills the track, holds the knob, turns the
// mouse's points into movements of the knob, and settles the knob at one end at each release.
// Points are the view's: origin at the bottom left, y upwards. "on" is observable; it is announced
// around every release, and by nothing else. Main thread only. Nothing here fails: input that
// cannot apply is ignored.
#pragma once

#include "AppKit/NSBezierPath.h"
#include "AppKit/NSImage.h"
#include "QuartzCore/CALayer.h"

#include <cstdint>
#include <memory>
#include <string>

class QVSwitchButtonCALayer : public CALayer {
public:
    /// Enabled, off, with the knob at the left end.
    QVSwitchButtonCALayer();

    bool isOn() const { return _on; }
    bool isEnabled() const { return enabled; }
    /// A new value is kept and the knob glides to its side, also in the middle of a gesture, whose
    /// release then decides nothing; the value already held does nothing. While disabled a new
    /// value is kept and the knob stays where it is.
    void setOn(bool value);
    /// Without animation the knob jumps.
    void setOn(bool value, bool animated);
    /// Shows the pressed image when enabled, the disabled one when not. A knob that was left on the
    /// wrong side while disabled goes to its side once it may move again.
    void setEnabled(bool value);

    /// A press takes hold of the knob if the point lies within it.
    void mouseDown(CGPoint point);
    /// Moves the knob, if a press took hold of it.
    void mouseDragged(CGPoint point);
    /// Settles the knob: by its place after a drag, else on the other side. Announces "on".
    void mouseUp(CGPoint point);

    /// One step of a drag, from the last accepted point to this one.
    void moveSwitch(CGPoint point);
    /// Whether the knob may be dragged by this distance: not while disabled, nor beyond the end at
    /// which it stands.
    bool shouldDrag(double distance) const;
    /// Decides the side, sets `on` and places the knob. Does nothing while disabled.
    void switchSide();
    /// Where a resting knob stands.
    CGRect knobFrame() const { return theSwitch->frame(); }

    /// A bitmap of the path's size, filled with a vertical blend of two greys.
    CGImageRef switchImageForPath(const NSBezierPath& path, double topColor, double bottomColor);
    /// The image as a bitmap of its size in whole pixels, in the form of bitmap info 8194.
    CGImageRef createCGRefFromNSImage(const NSImage& image);

    /// The key "on".
    PropertyList valueForKey(const std::string& key) const override;

protected:
    /// The knob keeps to its end when the track's width changes.
    void resizeSublayersWithOldSize(const CGSize& oldSize) override;

private:
    void createtheSwitch();
    void showImageAtRest();
    void settle();
    void placeKnob(double x);
    double rightEnd() const;
    double restingPlace() const { return _on ? rightEnd() : 0; }
    bool isResting() const;

    std::shared_ptr<CALayer> theSwitch;
    std::int32_t _currentEventState = 0;
    CGImageRef notClickedImgRef;
    CGImageRef clickedImgRef;
    CGImageRef disabledImgRef;
    CGPoint _mouseDownPointForCurrentEvent;
    bool _on = false;
    bool enabled = false;

    bool held = false;      // by a press that has not been released
    bool overruled = false; // the program set `on` since the press
};
