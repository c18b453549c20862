// Lays out the sublayers of a layer by their constraints.
#pragma once

#include <memory>

class CALayer;

class CAConstraintLayoutManager {
public:
    static std::shared_ptr<CAConstraintLayoutManager> layoutManager() {
        return std::make_shared<CAConstraintLayoutManager>();
    }

    /// Sets the frame of every sublayer that has constraints; what none names stays as it is.
    void layoutSublayersOfLayer(CALayer& layer) const;
};
