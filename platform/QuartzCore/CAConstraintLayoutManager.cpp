#include "QuartzCore/CAConstraintLayoutManager.h"

#include "QuartzCore/CALayer.h"

#include <optional>

namespace {

struct Span {
    double min, size;
};

/// What is known of one axis of a layer.
struct Axis {
    std::optional<double> min, mid, max, size;

    Span solve(const Span& before) const {
        const double length = size.value_or(between().value_or(before.size));
        if (min)
            return {*min, length};
        if (max)
            return {*max - length, length};
        if (mid)
            return {*mid - length / 2, length};
        return {before.min, length};
    }

private:
    std::optional<double> between() const {
        if (min && max)
            return *max - *min;
        if (min && mid)
            return 2 * (*mid - *min);
        if (mid && max)
            return 2 * (*max - *mid);
        return std::nullopt;
    }
};

double valueOf(CAConstraintAttribute attribute, const CGRect& rect) {
    switch (attribute) {
    case kCAConstraintMinX:
        return CGRectGetMinX(rect);
    case kCAConstraintMidX:
        return CGRectGetMidX(rect);
    case kCAConstraintMaxX:
        return CGRectGetMaxX(rect);
    case kCAConstraintWidth:
        return CGRectGetWidth(rect);
    case kCAConstraintMinY:
        return CGRectGetMinY(rect);
    case kCAConstraintMidY:
        return CGRectGetMidY(rect);
    case kCAConstraintMaxY:
        return CGRectGetMaxY(rect);
    case kCAConstraintHeight:
        return CGRectGetHeight(rect);
    }
    return 0;
}

std::optional<double>& slotOf(CAConstraintAttribute attribute, Axis& x, Axis& y) {
    Axis& axis = attribute >= kCAConstraintMinY ? y : x;
    switch (attribute) {
    case kCAConstraintMinX:
    case kCAConstraintMinY:
        return axis.min;
    case kCAConstraintMidX:
    case kCAConstraintMidY:
        return axis.mid;
    case kCAConstraintMaxX:
    case kCAConstraintMaxY:
        return axis.max;
    default:
        return axis.size;
    }
}

CGRect frameByConstraints(const CALayer& layer, const CGRect& around) {
    Axis x;
    Axis y;
    for (const CAConstraint& each : layer.constraints())
        if (each.sourceName == "superlayer")
            slotOf(each.attribute, x, y) = valueOf(each.sourceAttribute, around);
    const CGRect before = layer.frame();
    const Span across = x.solve({before.origin.x, before.size.width});
    const Span up = y.solve({before.origin.y, before.size.height});
    return CGRectMake(across.min, up.min, across.size, up.size);
}

} // namespace

void CAConstraintLayoutManager::layoutSublayersOfLayer(CALayer& layer) const {
    for (const auto& each : layer.sublayers())
        if (!each->constraints().empty())
            each->setFrame(frameByConstraints(*each, layer.bounds()));
}
