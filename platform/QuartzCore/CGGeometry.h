// Points, sizes and rectangles in points. The origin is at the bottom left, y grows upwards.
#pragma once

#include <algorithm>

struct CGPoint {
    double x = 0, y = 0;
    bool operator==(const CGPoint&) const = default;
};

struct CGSize {
    double width = 0, height = 0;
    bool operator==(const CGSize&) const = default;
};

struct CGRect {
    CGPoint origin;
    CGSize size;
    bool operator==(const CGRect&) const = default;
};

using NSPoint = CGPoint;
using NSSize = CGSize;
using NSRect = CGRect;

inline CGRect CGRectMake(double x, double y, double width, double height) {
    return {{x, y}, {width, height}};
}
inline double CGRectGetWidth(const CGRect& rect) { return rect.size.width; }
inline double CGRectGetHeight(const CGRect& rect) { return rect.size.height; }
inline double CGRectGetMinX(const CGRect& rect) { return rect.origin.x; }
inline double CGRectGetMinY(const CGRect& rect) { return rect.origin.y; }
inline double CGRectGetMidX(const CGRect& rect) { return rect.origin.x + rect.size.width / 2; }
inline double CGRectGetMidY(const CGRect& rect) { return rect.origin.y + rect.size.height / 2; }
inline double CGRectGetMaxX(const CGRect& rect) { return rect.origin.x + rect.size.width; }
inline double CGRectGetMaxY(const CGRect& rect) { return rect.origin.y + rect.size.height; }

/// Half open: the left and bottom edges count as inside, the right and top edges do not.
inline bool CGRectContainsPoint(const CGRect& rect, const CGPoint& point) {
    return point.x >= CGRectGetMinX(rect) && point.x < CGRectGetMaxX(rect) &&
           point.y >= CGRectGetMinY(rect) && point.y < CGRectGetMaxY(rect);
}

/// The smallest rectangle that holds both.
inline CGRect CGRectUnion(const CGRect& a, const CGRect& b) {
    const double x = std::min(CGRectGetMinX(a), CGRectGetMinX(b));
    const double y = std::min(CGRectGetMinY(a), CGRectGetMinY(b));
    return CGRectMake(x, y, std::max(CGRectGetMaxX(a), CGRectGetMaxX(b)) - x,
                      std::max(CGRectGetMaxY(a), CGRectGetMaxY(b)) - y);
}
