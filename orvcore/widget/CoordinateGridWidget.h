#pragma once

#include <memory>
#include <utility>

#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/Ray.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

/// Base of the ground grids: a shape node whose compound shape holds the
/// grid's lines. The grid lies in the node's own XY plane (z = 0).
class CoordinateGridWidget : public ShapeSceneNode {
public:
    explicit CoordinateGridWidget(const std::shared_ptr<CompoundShape>& shape);

    /// A new grid on the same compound shape (shared, not copied) with the
    /// base properties of this one.
    std::shared_ptr<SceneNode> Clone() const override;
    /// Sizes and places the grid around a box. The base only logs
    /// "NOT IMPLEMENTED!".
    virtual void FitToBoundingBox(const AxisAlignedBox& box);
    /// Where a ray meets the grid's plane (the XY plane moved by the world
    /// transform): (hit, ray parameter). The parameter is signed; a crossing
    /// behind the origin reports no hit.
    virtual std::pair<bool, float> HitPosition(const Ray& ray) const;

    static CoordinateGridWidget* Cast(SceneNode* node);
    static const CoordinateGridWidget* Cast(const SceneNode* node);
};

} // namespace orvcore
