#pragma once

#include <cstdint>

#include <glm/vec3.hpp>

namespace orvcore {

/// The function a surface plots: for the grid vertex of column i and row j,
/// whose flat position is (x, y) (the plane centred at the origin), the
/// vertex position to use. The whole vertex is replaced, so the functor
/// places x and y as well as the height (a plot over [a, b] puts column i at
/// a + i x step).
class PlotSurfaceFunctor {
public:
    virtual ~PlotSurfaceFunctor() = default;
    virtual glm::vec3 operator()(uint32_t i, uint32_t j, float x, float y) const = 0;
};

} // namespace orvcore
