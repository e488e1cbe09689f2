#include <orvcore/pick/FrustumCaster.h>

#include <orvcommon/Logger.h>
#include <orvcore/pick/PickNodeByFrustumVisitor.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

FrustumCaster::FrustumCaster(const std::shared_ptr<Camera>& camera, unsigned int pickFilter, const glm::ivec2& first,
                             const glm::ivec2& second)
    : m_PickFilter(pickFilter), m_Frustum(std::make_shared<Frustum>()), m_Camera(camera),
      m_PartPicking(first.y < second.y)
{
    if (!camera) {
        Logger::Instance().Waring("Camera is null!");
        return;
    }
    m_Frustum->Initialize(glm::vec2(first), glm::vec2(second), *camera);
}

std::size_t FrustumCaster::HitTest(const std::shared_ptr<Scene>& scene)
{
    Clear();
    if (!scene)
        return 0;
    PickNodeByFrustumVisitor visitor(*this);
    scene->Accept(visitor);
    return m_Intersects.size();
}

std::size_t FrustumCaster::HitTest(const std::shared_ptr<SceneManager>& manager)
{
    Clear();
    if (!manager)
        return 0;
    PickNodeByFrustumVisitor visitor(*this);
    visitor.Visit(manager);
    return m_Intersects.size();
}

std::size_t FrustumCaster::HitTest(const std::shared_ptr<SceneNode>& node)
{
    Clear();
    if (!node)
        return 0;
    PickNodeByFrustumVisitor visitor(*this);
    node->Accept(visitor);
    return m_Intersects.size();
}

bool FrustumCaster::Intersects(const AxisAlignedBox& box) const { return m_Frustum->IsVisible(box); }

bool FrustumCaster::IsPickable(EnumPrimitiveType type) const
{
    const EnumShapeFilter filter = ToFilter(type);
    return filter != SHAPE_FILTER_SHAPE && (m_PickFilter & filter) != 0;
}

EnumShapeFilter FrustumCaster::ToFilter(EnumPrimitiveType type)
{
    if (IsPointPrimitive(type))
        return SHAPE_FILTER_VERTEX;
    if (IsLinePrimitive(type))
        return SHAPE_FILTER_EDGE;
    if (IsTrianglePrimitive(type))
        return SHAPE_FILTER_FACE;
    return SHAPE_FILTER_SHAPE;
}

void FrustumCaster::UpdateSceneNode(SceneNode* node)
{
    for (PickedItem& item : m_Intersects) {
        if (!item.GetNode())
            item.SetNode(node);
    }
}

} // namespace orvcore
