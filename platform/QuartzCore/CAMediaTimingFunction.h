// The pace of an animation: how far it has come after a part of its time.
#pragma once

class CAMediaTimingFunction {
public:
    /// A cubic curve from (0, 0) to (1, 1) with two control points whose x lies between 0 and 1.
    constexpr CAMediaTimingFunction(double x1, double y1, double x2, double y2)
        : x1(x1), y1(y1), x2(x2), y2(y2) {}

    /// `time` and the result are parts of the whole; time outside 0 … 1 counts as the nearer end.
    double valueAt(double time) const;

private:
    double x1, y1, x2, y2;
};

inline constexpr CAMediaTimingFunction kCAMediaTimingFunctionDefault{0.25, 0.1, 0.25, 1.0};
