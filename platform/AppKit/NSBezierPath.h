// Outlines to draw along and to fill.
#pragma once

#include "QuartzCore/CGGeometry.h"

#include <QPainterPath>

class NSBezierPath {
public:
    static NSBezierPath bezierPathWithRoundedRect(CGRect rect, double xRadius, double yRadius);

    /// The smallest rectangle around it.
    CGRect bounds() const;
    /// Draws a line of one point along the path in the current colour.
    void stroke() const;

    const QPainterPath& painterPath() const { return path; }

private:
    explicit NSBezierPath(const QPainterPath& path) : path(path) {}

    QPainterPath path;
};
