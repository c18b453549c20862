// Lays out the sublayers of a layer by their constraints.
#pragma once

#include <memory>

class CALayer;

class CAConstraintLayoutManager {
public:
    static std::shared_ptr<CAConstraintLayoutManager> layoutManager() {
        return std::make_shared<CAConstraintLayoutManager>();
    }

    /// Sets the frame of every sublayer that has constraints. Along each axis, two constraints rule
    /// place and extent; one alone rules what it names and leaves the rest as it is.
    void layoutSublayersOfLayer(CALayer& layer) const;
};
