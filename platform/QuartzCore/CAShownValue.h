// A value of a layer in its two forms: the model, which changes at once, and what is shown, which
// glides there.
#pragma once

#include "QuartzCore/CAMediaTimingFunction.h"
#include "QuartzCore/CGGeometry.h"
#include "System/Clock.h"
#include "System/Machine.h"

#include <chrono>

inline double interpolate(double a, double b, double part) { return a + (b - a) * part; }
inline CGPoint interpolate(const CGPoint& a, const CGPoint& b, double part) {
    return {interpolate(a.x, b.x, part), interpolate(a.y, b.y, part)};
}
inline CGRect interpolate(const CGRect& a, const CGRect& b, double part) {
    return {interpolate(a.origin, b.origin, part),
            {interpolate(a.size.width, b.size.width, part),
             interpolate(a.size.height, b.size.height, part)}};
}

template <class Value>
class CAShownValue {
public:
    explicit CAShownValue(const Value& value) : value(value) {}

    const Value& model() const { return value; }
    /// Sets the model; what is shown sets out from where it is now and arrives after `seconds`.
    /// False when that changes nothing.
    bool set(const Value& newValue, double seconds) {
        const bool moving = isMoving();
        if (newValue == value && (seconds > 0 || !moving)) {
            return false;
        }
        if (seconds > 0) {
            start = shown();
            begin = Machine::current().clock().now();
        }
        duration = seconds;
        value = newValue;
        return true;
    }
    bool isMoving() const { return duration > 0 && elapsed() < 1; }
    Value shown() const {
        if (!isMoving()) {
            return value;
        }
        return interpolate(start, value, kCAMediaTimingFunctionDefault.valueAt(elapsed()));
    }

private:
    double elapsed() const {
        const std::chrono::duration<double> time = Machine::current().clock().now() - begin;
        return time.count() / duration;
    }

    Value value;
    Value start{};
    Clock::Time begin{};
    double duration = 0; // 0 when nothing moves
};
