#pragma once

#include <cstdint>

#include <glm/vec3.hpp>

namespace orvcore {

/// The function a curve plots: for sample i at parameter x, the point to
/// draw. Implementations carry their own parameters; the base has no state.
class PlotCurveFunctor {
public:
    virtual ~PlotCurveFunctor() = default;
    virtual glm::vec3 operator()(uint32_t index, float x) const = 0;
};

} // namespace orvcore
