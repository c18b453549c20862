// A grey with an opacity.
#pragma once

class QColor;

class NSColor {
public:
    /// Both from 0 (black, transparent) to 1 (white, opaque).
    static NSColor colorWithCalibratedWhite(double white, double alpha) { return {white, alpha}; }

    double whiteComponent() const { return white; }
    double alphaComponent() const { return alpha; }
    bool operator==(const NSColor&) const = default;

    /// Makes it the colour that the current graphics context draws with.
    void set() const;
    QColor screenColor() const;

private:
    NSColor(double white, double alpha) : white(white), alpha(alpha) {}

    double white, alpha;
};
