#include "QuartzCore/CAMediaTimingFunction.h"

#include <algorithm>

namespace {

/// One coordinate of the curve, which runs from 0 to 1 with control values a and b.
double curve(double a, double b, double t) {
    const double u = 1 - t;
    return 3 * u * u * t * a + 3 * u * t * t * b + t * t * t;
}

} // namespace

double CAMediaTimingFunction::valueAt(double time) const {
    if (time <= 0 || time >= 1) {
        return std::clamp(time, 0.0, 1.0);
    }
    // x grows with t, so the t that belongs to a time is found by halving.
    double low = 0;
    double high = 1;
    for (int step = 0; step < 40; ++step) {
        const double middle = (low + high) / 2;
        (curve(x1, x2, middle) < time ? low : high) = middle;
    }
    return curve(y1, y2, low);
}
