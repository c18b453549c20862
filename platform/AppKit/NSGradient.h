// A blend from one colour to another.
#pragma once

#include "AppKit/NSColor.h"
#include "Foundation/NSCoder.h"

#include <memory>
#include <string>

class NSBezierPath;

class NSGradient : public NSCoding {
public:
    NSGradient(NSColor startingColor, NSColor endingColor)
        : start(startingColor), end(endingColor) {}

    const NSColor& startingColor() const { return start; }
    const NSColor& endingColor() const { return end; }

    /// Fills a path. At 0 degrees the blend runs from the left edge of the path's bounds to the
    /// right one, at 90 degrees from the bottom to the top. Up to half a point inside each edge it
    /// has that end's own colour, so that the edge pixels show it exactly at every scale.
    void drawInBezierPath(const NSBezierPath& path, double angle) const;

    std::string codingClassName() const override { return "NSGradient"; }
    void encodeWithCoder(NSCoder& coder) const override;
    /// Null when a colour is missing.
    static std::shared_ptr<NSGradient> initWithCoder(const NSCoder& coder);

private:
    NSColor start, end;
};
