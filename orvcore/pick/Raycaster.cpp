#include <orvcore/pick/Raycaster.h>

#include <orvcommon/Plane.h>
#include <orvkernel/camera/CameraOperator.h>
#include <orvcore/pick/PickNodeByRayVisitor.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/SceneNode.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <glm/geometric.hpp>
#include <glm/gtc/matrix_inverse.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

namespace {

// The storage of the last hit list a caster on this thread dropped, kept
// for the next caster (empty, with its capacity). Lists that grew large,
// after a pick through a dense assembly, are freed instead.
constexpr std::size_t kKeptCapacity = 256;
// Initial-exec: the library is linked, not opened at run time, so its
// thread-local data sits at a fixed offset from the thread pointer and is
// reached without a call into the dynamic linker.
std::vector<PickedItem>& SpareItems()
{
#if defined(__GNUC__) && defined(__ELF__)
    static thread_local std::vector<PickedItem> spare __attribute__((tls_model("initial-exec")));
#else
    thread_local std::vector<PickedItem> spare;
#endif
    return spare;
}

} // namespace

Raycaster::Raycaster(const std::shared_ptr<Camera>& camera, unsigned int pickFilter, int x, int y)
    : m_PickFilter(pickFilter), m_Ray(CameraOperator::WindowPointToRay(camera, x, y)), m_Camera(camera)
{
    m_Intersects.swap(SpareItems());
}

Raycaster::~Raycaster()
{
    std::vector<PickedItem>& spare = SpareItems();
    if (m_Intersects.capacity() > spare.capacity() && m_Intersects.capacity() <= kKeptCapacity) {
        m_Intersects.clear();
        spare.swap(m_Intersects);
    }
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

float Raycaster::LocalSearchRadius(const glm::mat4& world, const AxisAlignedBox& worldBox) const
{
    constexpr float kNone = std::numeric_limits<float>::max();
    if (!m_Camera || !worldBox.isFinite() || m_Camera->GetHeight() == 0 || !(m_Camera->GetZoomFactor() > 0.0f))
        return kNone;
    // World units per viewport pixel at the farthest depth the box reaches.
    float perPixel;
    if (m_Camera->GetProjectionType() == Camera::PROJECTION_ORTHOGRAPHIC) {
        perPixel = 2.0f * m_Camera->GetOrthoHalfHeight();
    } else {
        const glm::vec3 eye = m_Camera->GetEye(), dir = m_Camera->GetDirection();
        float depth = 0.0f;
        for (int i = 0; i < 8; ++i) {
            const glm::vec3 corner((i & 1) ? worldBox.getMaximum().x : worldBox.getMinimum().x,
                                   (i & 2) ? worldBox.getMaximum().y : worldBox.getMinimum().y,
                                   (i & 4) ? worldBox.getMaximum().z : worldBox.getMinimum().z);
            depth = std::max(depth, glm::dot(corner - eye, dir));
        }
        perPixel = 2.0f * depth * std::tan(0.5f * m_Camera->GetFov());
    }
    perPixel /= float(m_Camera->GetHeight()) * m_Camera->GetZoomFactor();
    // The square threshold reaches sqrt(2) pixels per pixel of threshold; an
    // offset seen at an angle looks shorter: a factor of 2 on top keeps it safe.
    const float worldRadius = m_ScreenThreshold * 1.4142136f * 2.0f * perPixel;
    // Local units are world units divided by the node's scale.
    const float scale = std::min({glm::length(glm::vec3(world[0])), glm::length(glm::vec3(world[1])),
                                  glm::length(glm::vec3(world[2]))});
    if (!(scale > 0.0f) || !std::isfinite(worldRadius))
        return kNone;
    return worldRadius / scale;
}

Ray Raycaster::GetLocalRay(const glm::mat4& world) const
{
    // Most imported parts sit where they were modelled, and most of the
    // rest are placed by rigid or scaled moves: both skip the general
    // inverse, which costs as much as the ray walk of a small mesh.
    if (world == glm::mat4(1.0f))
        return m_Ray;
    Ray local = m_Ray;
    const bool affine = world[0][3] == 0.0f && world[1][3] == 0.0f && world[2][3] == 0.0f && world[3][3] == 1.0f;
    local.applyMatrix(affine ? glm::affineInverse(world) : glm::inverse(world));
    return local;
}

bool Raycaster::Intersects(const AxisAlignedBox& box) const
{
    // Whether the ray meets the box's bounding sphere, on squares: no root
    // is taken, since only the yes or no is wanted. An infinite box has an
    // infinite sphere; an empty one is the point at the origin.
    if (box.isInfinite())
        return true;
    glm::vec3 centre(0.0f), size(0.0f);
    if (box.isFinite()) {
        centre = (box.getMinimum() + box.getMaximum()) * 0.5f;
        size = box.getMaximum() - box.getMinimum();
    }
    const glm::vec3 toOrigin = m_Ray.getOrigin() - centre;
    const float c = glm::dot(toOrigin, toOrigin) - glm::dot(size, size) * 0.25f;
    if (c <= 0.0f)
        return true; // the origin is inside
    // The direction is a unit vector: t^2 + 2 b t + c = 0 has a root ahead.
    const float b = glm::dot(toOrigin, m_Ray.getDirection());
    if (b > 0.0f)
        return false; // outside and moving away
    return !(b * b - c < 0.0f);
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
