#include "QuartzCore/CAConstraintLayoutManager.h"

#include "QuartzCore/CALayer.h"

namespace {

double valueOf(CAConstraintAttribute attribute, const CGRect& rect) {
    switch (attribute) {
    case kCAConstraintMinX:
        return CGRectGetMinX(rect);
    case kCAConstraintWidth:
        return CGRectGetWidth(rect);
    case kCAConstraintMinY:
        return CGRectGetMinY(rect);
    case kCAConstraintHeight:
        return CGRectGetHeight(rect);
    }
    return 0;
}

double& partOf(CGRect& rect, CAConstraintAttribute attribute) {
    switch (attribute) {
    case kCAConstraintMinX:
        return rect.origin.x;
    case kCAConstraintWidth:
        return rect.size.width;
    case kCAConstraintMinY:
        return rect.origin.y;
    default:
        return rect.size.height;
    }
}

CGRect frameByConstraints(const CALayer& layer, const CGRect& around) {
    CGRect frame = layer.frame();
    for (const CAConstraint& each : layer.constraints()) {
        if (each.sourceName == "superlayer") {
            partOf(frame, each.attribute) = valueOf(each.sourceAttribute, around);
        }
    }
    return frame;
}

} // namespace

void CAConstraintLayoutManager::layoutSublayersOfLayer(CALayer& layer) const {
    for (const auto& each : layer.sublayers()) {
        if (!each->constraints().empty()) {
            each->setFrame(frameByConstraints(*each, layer.bounds()));
        }
    }
}
