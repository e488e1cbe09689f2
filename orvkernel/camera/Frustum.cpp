#include <orvkernel/camera/Frustum.h>

#include <orvcommon/Logger.h>
#include <orvkernel/camera/Camera.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

namespace orvcore {

namespace {
/// A plane that every point lies inside.
const glm::vec4 AllInside(0.0f, 0.0f, 0.0f, 1.0f);

bool IsFinite(const glm::mat4& m)
{
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            if (!std::isfinite(m[c][r]))
                return false;
    return true;
}

glm::vec4 Row(const glm::mat4& m, int r) { return glm::vec4(m[0][r], m[1][r], m[2][r], m[3][r]); }

glm::vec4 Normalised(const glm::vec4& plane)
{
    const float length = glm::length(glm::vec3(plane));
    if (!(length > 0.0f) || !std::isfinite(length))
        return AllInside;
    return plane / length;
}

/// Planes of the clip-space volume  xMin w <= x <= xMax w,  yMin w <= y <= yMax w,
/// -w <= z <= w  of a projection x view matrix, normals pointing inside.
std::array<glm::vec4, 6> ClipPlanes(const glm::mat4& m, float xMin, float xMax, float yMin, float yMax)
{
    const glm::vec4 x = Row(m, 0), y = Row(m, 1), z = Row(m, 2), w = Row(m, 3);
    return {Normalised(x - xMin * w), Normalised(xMax * w - x), Normalised(y - yMin * w),
            Normalised(yMax * w - y), Normalised(w + z), Normalised(w - z)};
}
} // namespace

Frustum::Frustum() { m_Planes.fill(AllInside); }

Frustum::Frustum(const Camera& camera, float factor) : Frustum()
{
    SetFromMatrix(camera.GetViewProjectionMatrix(), factor);
}

void Frustum::SetFromMatrix(const glm::mat4& viewProjection, float factor)
{
    if (!IsFinite(viewProjection)) {
        Logger::Instance().Waring("Frustum matrix is invalid!");
        return;
    }
    if (!(factor > 0.0f) || !std::isfinite(factor)) {
        Logger::Instance().Waring("Frustum factor is invalid!");
        factor = 1.0f;
    }
    m_Planes = ClipPlanes(viewProjection, -factor, factor, -factor, factor);
    m_Everything = false;
}

void Frustum::Initialize(const glm::vec2& first, const glm::vec2& second, const Camera& camera)
{
    if (!std::isfinite(first.x) || !std::isfinite(first.y) || !std::isfinite(second.x) || !std::isfinite(second.y)) {
        Logger::Instance().Waring("Frustum rectangle is invalid!");
        return;
    }
    const glm::mat4 viewProjection = camera.GetViewProjectionMatrix();
    if (!IsFinite(viewProjection)) {
        Logger::Instance().Waring("Frustum matrix is invalid!");
        return;
    }
    glm::vec2 lo = glm::min(first, second);
    glm::vec2 hi = glm::max(first, second);
    // A click (no drag) selects the pixel-sized volume around the pick ray.
    if (hi.x == lo.x) {
        lo.x -= 0.5f;
        hi.x += 0.5f;
    }
    if (hi.y == lo.y) {
        lo.y -= 0.5f;
        hi.y += 0.5f;
    }
    // Window to normalised device coordinates; window y grows downwards, so
    // the top of the rectangle (lo.y) is the upper bound in y.
    const float width = float(camera.GetWidth());
    const float height = float(camera.GetHeight());
    const float xMin = lo.x / width * 2.0f - 1.0f;
    const float xMax = hi.x / width * 2.0f - 1.0f;
    const float yMin = 1.0f - hi.y / height * 2.0f;
    const float yMax = 1.0f - lo.y / height * 2.0f;
    m_Planes = ClipPlanes(viewProjection, xMin, xMax, yMin, yMax);
    m_Everything = false;
}

bool Frustum::IsVisible(const AxisAlignedBox& box) const
{
    if (box.isNull())
        return false;
    if (box.isInfinite() || m_Everything)
        return true;
    // Centre-extent form of the positive-corner test: the box is outside a
    // plane when its centre lies farther outside than its half size reaches
    // along the normal.
    const glm::vec3& lo = box.getMinimum();
    const glm::vec3& hi = box.getMaximum();
    const float cx = (lo.x + hi.x) * 0.5f, cy = (lo.y + hi.y) * 0.5f, cz = (lo.z + hi.z) * 0.5f;
    const float hx = (hi.x - lo.x) * 0.5f, hy = (hi.y - lo.y) * 0.5f, hz = (hi.z - lo.z) * 0.5f;
    bool outside = false;
    for (const glm::vec4& p : m_Planes) {
        const float reach = std::fabs(p.x) * hx + std::fabs(p.y) * hy + std::fabs(p.z) * hz;
        outside |= p.x * cx + p.y * cy + p.z * cz + p.w + reach < 0.0f;
    }
    return !outside;
}

Frustum::Containment Frustum::Classify(const AxisAlignedBox& box) const
{
    if (box.isNull())
        return Containment::Outside;
    if (m_Everything)
        return Containment::Inside;
    if (box.isInfinite())
        return Containment::Intersects;
    const glm::vec3& lo = box.getMinimum();
    const glm::vec3& hi = box.getMaximum();
    const float cx = (lo.x + hi.x) * 0.5f, cy = (lo.y + hi.y) * 0.5f, cz = (lo.z + hi.z) * 0.5f;
    const float hx = (hi.x - lo.x) * 0.5f, hy = (hi.y - lo.y) * 0.5f, hz = (hi.z - lo.z) * 0.5f;
    bool outside = false, straddles = false;
    for (const glm::vec4& p : m_Planes) {
        const float reach = std::fabs(p.x) * hx + std::fabs(p.y) * hy + std::fabs(p.z) * hz;
        const float centre = p.x * cx + p.y * cy + p.z * cz + p.w;
        outside |= centre + reach < 0.0f;
        straddles |= centre - reach < 0.0f;
    }
    return outside ? Containment::Outside : (straddles ? Containment::Intersects : Containment::Inside);
}

bool Frustum::IsVisible(const glm::vec3& point) const
{
    if (m_Everything)
        return true;
    for (const glm::vec4& plane : m_Planes)
        if (glm::dot(glm::vec3(plane), point) + plane.w < 0.0f)
            return false;
    return true;
}

} // namespace orvcore
