// The base of the views that draw themselves: a widget with the platform's coordinates (y upwards),
// events and, if wanted, a tree of layers. Where people write from right to left it is its own
// mirror image: x then runs from right to left. Main thread only.
#pragma once

#include "AppKit/NSAccessibility.h"
#include "AppKit/NSClickCounter.h"
#include "AppKit/NSEvent.h"
#include "Foundation/NSObject.h"
#include "QuartzCore/CALayer.h"

#include <memory>
#include <QWidget>

class NSBezierPath;
class NSCoder;

class NSView : public QWidget,
               public NSObject,
               public NSAccessibility,
               public CALayerDelegate,
               private CALayerHost {
public:
    explicit NSView(QWidget* parent = nullptr);
    ~NSView() override;

    /// Takes what a coder holds for this view, or writes it there.
    virtual void initWithCoder(NSCoder& coder);
    virtual void encodeWithCoder(NSCoder& coder);
    /// Called once, when the whole layout file has been loaded.
    virtual void awakeFromNib() {}

    /// In the coordinates of the view or window that holds this one.
    CGRect frame() const;
    CGRect bounds() const;
    /// A point of another view, or of the window for none, in this view's coordinates.
    CGPoint convertPoint(CGPoint point, const NSView* fromView) const;

    /// Makes the view layer-backed: it gets a plain layer of its size unless it has one.
    void setWantsLayer(bool wants);
    const std::shared_ptr<CALayer>& layer() const { return rootLayer; }
    void setLayer(std::shared_ptr<CALayer> layer);
    /// Has the view draw itself anew.
    void setNeedsDisplay(bool needed);

    /// Draws into the current graphics context, in the view's coordinates.
    virtual void drawRect(CGRect) {}
    virtual void mouseDown(const NSEvent&) {}
    virtual void mouseDragged(const NSEvent&) {}
    virtual void mouseUp(const NSEvent&) {}
    /// Whether the key was of use; else it goes on to who is next.
    virtual bool keyDown(const NSEvent&) { return false; }

    /// Whether the view takes the keyboard. Asked once, before the view is first shown.
    virtual bool acceptsFirstResponder() const { return false; }
    /// The line along whose inner side the focus ring runs.
    virtual NSBezierPath focusRingPath() const;

    /// CALayerDelegate: draws the view itself as the content of its own layer.
    void drawLayer(CALayer& layer, QPainter& painter) override;

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void layerTreeChanged(const CGRect& dirty) override;
    void press(QMouseEvent& event);
    NSEvent mouseEvent(const QMouseEvent& event) const;
    double mirrored(double x, double width = 0) const;
    void mirror(QPainter& painter) const;
    void updateRect(const CGRect& dirty);
    void paintFocusRing(QPainter& painter) const;
    void fitLayer();

    std::shared_ptr<CALayer> rootLayer;
    int frameTimer = 0;          // runs only while something moves
    CGRect movingRect;           // what the last frame showed moving
    bool showsFocusRing = false; // while it has the focus and did not get it by a click
    NSClickCounter clickCounter;
    int clicks = 0; // of the press in progress, or the last one
};
