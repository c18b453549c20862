// A rectangle of a view's picture, with other such rectangles in it. Geometry has two forms: the
// model, which every accessor reads and writes and which changes at once, and what is shown, which
// follows over the duration of the transaction in force (CATransaction). What nobody has seen yet
// does not glide. y grows upwards. Main thread only.
#pragma once

#include "Foundation/NSObject.h"
#include "QuartzCore/CAConstraint.h"
#include "QuartzCore/CAConstraintLayoutManager.h"
#include "QuartzCore/CAShownValue.h"
#include "QuartzCore/CGGeometry.h"
#include "QuartzCore/CGImage.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class CALayer;
class QPainter;
class QPointF;
class QRectF;

/// Edges and extents that change with the layer around; a sum of these is an autoresizing mask.
enum CAAutoresizingMask : unsigned {
    kCALayerNotSizable = 0,
    kCALayerWidthSizable = 2,
    kCALayerHeightSizable = 16,
};

/// Draws a layer's content when the layer needs display.
class CALayerDelegate {
public:
    virtual ~CALayerDelegate() = default;
    /// `painter` covers the layer's bounds, y upwards.
    virtual void drawLayer(CALayer& layer, QPainter& painter) = 0;
};

/// Shows a layer tree.
class CALayerHost {
public:
    virtual ~CALayerHost() = default;
    /// The picture is no longer true within `dirty`, in the root layer's coordinates; it may go on
    /// changing while the tree isMoving().
    virtual void layerTreeChanged(const CGRect& dirty) = 0;
};

class CALayer : public NSObject {
public:
    static std::shared_ptr<CALayer> layer() { return std::make_shared<CALayer>(); }
    CALayer() = default;
    ~CALayer() override;

    const std::string& name() const { return layerName; }
    void setName(std::string name) { layerName = std::move(name); }

    /// The frame follows from position, bounds and anchor point; setting it sets the first two.
    CGRect frame() const;
    void setFrame(const CGRect& frame);
    const CGRect& bounds() const { return boundsValue.model(); }
    void setBounds(const CGRect& bounds);
    const CGPoint& position() const { return positionValue.model(); }
    void setPosition(const CGPoint& position);
    /// In parts of the bounds; (0.5, 0.5) at first.
    void setAnchorPoint(const CGPoint& point);

    /// The frame as it is shown at this moment.
    CGRect shownFrame() const;
    /// Whether anything in this layer or below is still gliding.
    bool isMoving() const;
    /// What of this layer and below glides: the ground between start and end, in this layer's
    /// superlayer's coordinates. None when nothing does.
    std::optional<CGRect> movingRect() const;

    void setCornerRadius(double newRadius);
    /// The border is black, opaque, and lies within the bounds.
    void setBorderWidth(double width);
    bool isHidden() const { return hidden; }
    void setHidden(bool hide);
    /// An image stretched over the bounds, in place of what a delegate draws.
    const CGImageRef& contents() const { return image; }
    void setContents(CGImageRef contents);

    /// Not kept alive; whoever is a delegate unsets itself before it goes.
    void setDelegate(CALayerDelegate* newDelegate) { delegate = newDelegate; }
    /// Has the delegate draw the content anew before it is next shown.
    void setNeedsDisplay();

    const std::vector<std::shared_ptr<CALayer>>& sublayers() const { return children; }
    /// Adds a layer above the others, taking it out of where it was.
    void addSublayer(std::shared_ptr<CALayer> layer);
    void removeFromSuperlayer();

    void setAutoresizingMask(unsigned newMask) { mask = newMask; }
    void setLayoutManager(std::shared_ptr<CAConstraintLayoutManager> manager);
    const std::vector<CAConstraint>& constraints() const { return layoutConstraints; }
    void addConstraint(CAConstraint constraint);
    void setNeedsLayout() { needsLayout = true; }
    /// Places the sublayers: the layout manager's work.
    virtual void layoutSublayers();
    /// Lays out this layer and those below, where something has changed since.
    void layoutIfNeeded();

    /// Paints the tree, as it is shown at this moment, with the top left corner of this layer's
    /// frame at `topLeft` (y downwards). Sharp at the painter's scale.
    void paint(QPainter& painter, const QPointF& topLeft);
    /// Who shows the tree of which this is the root. Not kept alive.
    void setHost(CALayerHost* newHost) { host = newHost; }

protected:
    /// Called when the size of the bounds has changed: sublayers follow by their masks.
    virtual void resizeSublayersWithOldSize(const CGSize& oldSize);

private:
    void resizeWithOldSuperlayerSize(const CGSize& oldSize);
    double durationOfChange() const;
    CGRect frameOf(const CGPoint& position, const CGRect& bounds) const;
    /// Tells the host that a rectangle of the superlayer has changed.
    void changed(const CGRect& dirty);
    void changed() { changed(shownFrame()); }
    void paintContent(QPainter& painter, const QRectF& rect);
    void paintBorder(QPainter& painter, const QRectF& rect) const;
    void drawBacking(const CGSize& size, double scale);

    std::string layerName;
    CAShownValue<CGPoint> positionValue{CGPoint{}};
    CAShownValue<CGRect> boundsValue{CGRect{}};
    CGPoint anchor{0.5, 0.5};
    double radius = 0;
    double border = 0;
    bool hidden = false;
    bool wasShown = false;
    bool needsDisplay = false;
    bool needsLayout = false;
    unsigned mask = kCALayerNotSizable;
    CGImageRef image;
    QImage backing; // what the delegate drew
    CALayerDelegate* delegate = nullptr;
    CALayerHost* host = nullptr;
    CALayer* parent = nullptr;
    std::vector<std::shared_ptr<CALayer>> children;
    std::shared_ptr<CAConstraintLayoutManager> manager;
    std::vector<CAConstraint> layoutConstraints;
};
