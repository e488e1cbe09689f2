#pragma once

#include <memory>
#include <vector>

#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvkernel/shape/PrimitiveShape.h>

namespace orvtest {

/// Geometry of the given kind over explicit points, indexed when an index is
/// given (computed box).
inline std::shared_ptr<orvcore::BufferGeometry> Geometry(orvcore::EnumPrimitiveType type,
                                                         const std::vector<glm::vec3>& points,
                                                         const std::vector<uint32_t>& index = {})
{
    auto g = std::make_shared<orvcore::BufferGeometry>(type);
    g->SetAttribute(orvcore::ATTRIBUTE_POSITION,
                    std::make_shared<orvcore::BufferAttribute>(&points[0].x, points.size() * 3, 3));
    if (!index.empty())
        g->SetIndex(std::make_shared<orvcore::ElementAttribute>(index));
    g->ComputeBoundingBox();
    return g;
}

inline std::shared_ptr<orvcore::PrimitiveShape> Primitive(orvcore::EnumPrimitiveType type,
                                                          const std::vector<glm::vec3>& points)
{
    return std::make_shared<orvcore::PrimitiveShape>(Geometry(type, points), nullptr);
}

/// A square of two triangles in the plane z = `z`, centred at (cx, cy).
inline std::shared_ptr<orvcore::PrimitiveShape> Square(float cx, float cy, float z, float half)
{
    return Primitive(orvcore::PRIMITIVE_TRIANGLES,
                     {{cx - half, cy - half, z}, {cx + half, cy - half, z}, {cx + half, cy + half, z},
                      {cx - half, cy - half, z}, {cx + half, cy + half, z}, {cx - half, cy + half, z}});
}

} // namespace orvtest
