// A picture that can be drawn at any resolution.
#pragma once

#include "QuartzCore/CGGeometry.h"
#include "QuartzCore/CGImage.h"

enum class NSCompositingOperation { copy, sourceOver };

class NSImage {
public:
    explicit NSImage(CGSize size);

    CGSize size() const { return extent; }
    /// Until unlockFocus, drawing goes into the image, with the origin at its bottom left corner.
    void lockFocus();
    void unlockFocus();

    /// Draws the part `fromRect` of the image, stretched to `rect`, into the current context.
    /// `copy` replaces what is there, also where the image is transparent. `fraction` is the
    /// opacity.
    void drawInRect(CGRect rect, CGRect fromRect, NSCompositingOperation operation,
                    double fraction) const;

private:
    CGSize extent;
    CGContextRef canvas;
};
