#include <orvcore/pick/Raycaster.h>

#include <orvcommon/Plane.h>
#include <orvcommon/Sphere.h>
#include <orvkernel/CameraOperator.h>
#include <orvcore/pick/PickNodeByRayVisitor.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

namespace orvcore {

Raycaster::Raycaster(const std::shared_ptr<Camera>& camera, unsigned int pickFilter, int x, int y)
    : m_PickFilter(pickFilter), m_Ray(CameraOperator::WindowPointToRay(camera, x, y)), m_Camera(camera)
{
}

std::size_t Raycaster::HitTest(const std::shared_ptr<Scene>& scene)
{
    Clear();
    if (!scene)
        return 0;
    PickNodeByRayVisitor visitor(*this, true);
    scene->Accept(visitor);
    return Sort();
}

std::size_t Raycaster::HitTest(const std::shared_ptr<SceneManager>& manager) { return HitTest(manager, true); }

std::size_t Raycaster::HitTest(const std::shared_ptr<SceneManager>& manager, bool respectPickable)
{
    Clear();
    if (!manager)
        return 0;
    PickNodeByRayVisitor visitor(*this, respectPickable);
    for (const auto& scene : *manager) {
        if (scene)
            scene->Accept(visitor);
    }
    return Sort();
}

std::size_t Raycaster::HitTest(const std::shared_ptr<SceneNode>& node)
{
    Clear();
    if (!node)
        return 0;
    PickNodeByRayVisitor visitor(*this, true);
    node->Accept(visitor);
    return Sort();
}

std::size_t Raycaster::Sort()
{
    if (m_Intersects.empty())
        return 0;
    std::sort(m_Intersects.begin(), m_Intersects.end());
    return m_Intersects.size();
}

const PickedItem& Raycaster::GetTopItem() const
{
    if (!m_Intersects.empty())
        return m_Intersects.front();
    static PickedItem fallback;
    const float t = m_Ray.intersects(Plane()).second;
    fallback.SetPosition(m_Ray.getPoint(t));
    return fallback;
}

bool Raycaster::TestDistanceThreshold(const glm::vec3& a, const glm::vec3& b) const
{
    if (!m_Camera)
        return false;
    const glm::vec3 pa = CameraOperator::WorldPointToViewportPoint(*m_Camera, a);
    const glm::vec3 pb = CameraOperator::WorldPointToViewportPoint(*m_Camera, b);
    return std::fabs(pa.x - pb.x) <= m_ScreenThreshold && std::fabs(pa.y - pb.y) <= m_ScreenThreshold;
}

bool Raycaster::Intersects(const AxisAlignedBox& box) const
{
    return m_Ray.intersects(Sphere(box.getCenter(), glm::length(box.getSize()) * 0.5f)).first;
}

bool Raycaster::IsPickable(EnumPrimitiveType type) const
{
    if (IsPointPrimitive(type))
        return (m_PickFilter & SHAPE_FILTER_VERTEX) != 0;
    if (IsLinePrimitive(type))
        return (m_PickFilter & SHAPE_FILTER_EDGE) != 0;
    if (IsTrianglePrimitive(type))
        return (m_PickFilter & SHAPE_FILTER_FACE) != 0;
    return false;
}

void Raycaster::UpdateSceneNode(SceneNode* node)
{
    for (PickedItem& item : m_Intersects) {
        if (!item.GetNode())
            item.SetNode(node);
    }
}

} // namespace orvcore
