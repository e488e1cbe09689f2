#include <orvcore/widget/CoordinateGridWidget.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Plane.h>

namespace orvcore {

CoordinateGridWidget::CoordinateGridWidget(const std::shared_ptr<CompoundShape>& shape) : ShapeSceneNode(shape) {}

std::shared_ptr<SceneNode> CoordinateGridWidget::Clone() const
{
    auto copy = std::make_shared<CoordinateGridWidget>(GetShape());
    copy->CopyBaseProperties(*this);
    return copy;
}

void CoordinateGridWidget::FitToBoundingBox(const AxisAlignedBox& box)
{
    (void)box;
    Logger::Instance().Waring("NOT IMPLEMENTED!");
}

std::pair<bool, float> CoordinateGridWidget::HitPosition(const Ray& ray) const
{
    Plane plane;
    plane.applyMatrix(GetWorldTransform());
    return ray.intersects(plane);
}

CoordinateGridWidget* CoordinateGridWidget::Cast(SceneNode* node) { return dynamic_cast<CoordinateGridWidget*>(node); }
const CoordinateGridWidget* CoordinateGridWidget::Cast(const SceneNode* node)
{
    return dynamic_cast<const CoordinateGridWidget*>(node);
}

} // namespace orvcore
