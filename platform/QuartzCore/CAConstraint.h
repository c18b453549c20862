// Ties an edge or the extent of a layer to one of the layer that holds it.
#pragma once

#include <string>

enum CAConstraintAttribute {
    kCAConstraintMinX,
    kCAConstraintWidth,
    kCAConstraintMinY,
    kCAConstraintHeight,
};

class CAConstraint {
public:
    /// `relativeTo` is "superlayer"; a constraint on anything else has no effect.
    static CAConstraint constraintWithAttribute(CAConstraintAttribute attribute,
                                                std::string relativeTo,
                                                CAConstraintAttribute sourceAttribute) {
        return {attribute, std::move(relativeTo), sourceAttribute};
    }

    CAConstraintAttribute attribute;
    std::string sourceName;
    CAConstraintAttribute sourceAttribute;
};
