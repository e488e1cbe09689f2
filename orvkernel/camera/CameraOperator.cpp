#include <orvkernel/camera/CameraOperator.h>

#include <orvcommon/Logger.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include <glm/geometric.hpp>
#include <glm/mat4x4.hpp>

namespace orvcore {

namespace {
void LogNullCamera() { Logger::Instance().Waring("Camera is null!"); }

bool IsFinite(const glm::vec3& v)
{
    return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// Normalised device coordinates of a world point (w divide included).
glm::vec3 WorldToNdc(const Camera& camera, const glm::vec3& point)
{
    const glm::vec4 clip = camera.GetViewProjectionMatrix() * glm::vec4(point, 1.0f);
    // A point in the eye plane of a perspective camera projects to infinity;
    // keep the division defined.
    const float w = clip.w != 0.0f ? clip.w : std::numeric_limits<float>::min();
    return glm::vec3(clip) / w;
}

/// World point of a viewport point (bottom-left origin, z the depth in
/// [0, 1]). Unprojected in double precision: far / near ratios of 1e5 lose
/// too many digits in a float inverse.
const glm::dmat4& InverseViewProjection(const Camera& camera) { return camera.GetInverseViewProjectionMatrix(); }

glm::vec3 ViewportToWorld(const Camera& camera, const glm::dmat4& inverse, const glm::dvec3& viewport)
{
    const glm::dvec4 ndc(viewport.x / double(camera.GetWidth()) * 2.0 - 1.0,
                         viewport.y / double(camera.GetHeight()) * 2.0 - 1.0, viewport.z * 2.0 - 1.0, 1.0);
    const glm::dvec4 world = inverse * ndc;
    const double w = world.w != 0.0 ? world.w : std::numeric_limits<double>::min();
    return glm::vec3(glm::dvec3(world) * (1.0 / w));
}

glm::vec3 ViewportToWorld(const Camera& camera, const glm::dvec3& viewport)
{
    return ViewportToWorld(camera, InverseViewProjection(camera), viewport);
}

/// Eye offsets of the six faces, in the order of the flags below.
enum Face : unsigned { F = 1u, B = 2u, R = 4u, L = 8u, T = 16u, D = 32u };

/// Faces whose eye offsets add up to each standard view's eye offset,
/// indexed by the view.
constexpr unsigned ViewFaces[STANDARD_VIEW_COUNT] = {
    0u,        // none
    F,         // front
    T,         // top
    R,         // right
    F | T | R, // isometric
    F | T | L, // front top left
    F | D | R, // front bottom right
    F | D | L, // front bottom left
    B | T | R, // back top right
    B | T | L, // back top left
    B | D | R, // back bottom right
    B | D | L, // back bottom left
    F | T,     // front top
    F | D,     // front bottom
    F | L,     // front left
    F | R,     // front right
    B | T,     // back top
    B | D,     // back bottom
    B | L,     // back left
    B | R,     // back right
    T | L,     // top left
    T | R,     // top right
    D | L,     // bottom left
    D | R,     // bottom right
    B,         // back
    D,         // bottom
    L,         // left
};
} // namespace

Ray CameraOperator::WindowPointToRay(const Camera& camera, float x, float y)
{
    const glm::dmat4& inverse = InverseViewProjection(camera);
    const double vy = double(camera.GetHeight()) - double(y);
    // The near (depth -1) and far (depth +1) points share the x and y terms
    // of the product; summed in the order of a full matrix product, and
    // scaled by 1 / w as there, so that each point is what unprojecting it
    // alone gives.
    const double nx = double(x) / double(camera.GetWidth()) * 2.0 - 1.0;
    const double ny = vy / double(camera.GetHeight()) * 2.0 - 1.0;
    const glm::dvec4 xy = inverse[0] * nx + inverse[1] * ny;
    const glm::dvec4 nearClip = xy + (inverse[2] * -1.0 + inverse[3]);
    const glm::dvec4 farClip = xy + (inverse[2] + inverse[3]);
    auto divide = [](const glm::dvec4& p) {
        const double w = p.w != 0.0 ? p.w : std::numeric_limits<double>::min();
        return glm::vec3(glm::dvec3(p) * (1.0 / w));
    };
    const glm::vec3 nearPoint = divide(nearClip);
    const glm::vec3 farPoint = divide(farClip);
    if (!IsFinite(nearPoint) || !IsFinite(farPoint)) {
        Logger::Instance().Waring("Window point is invalid!");
        return Ray();
    }
    return Ray(nearPoint, farPoint - nearPoint);
}

Ray CameraOperator::WindowPointToRay(const std::shared_ptr<Camera>& camera, int x, int y)
{
    if (!camera) {
        LogNullCamera();
        return Ray();
    }
    return WindowPointToRay(*camera, float(x), float(y));
}

glm::vec3 CameraOperator::WorldPointToViewportPoint(const Camera& camera, const glm::vec3& point)
{
    const glm::vec3 ndc = WorldToNdc(camera, point);
    return glm::vec3((ndc.x * 0.5f + 0.5f) * float(camera.GetWidth()), (ndc.y * 0.5f + 0.5f) * float(camera.GetHeight()),
                     ndc.z * 0.5f + 0.5f);
}

glm::vec3 CameraOperator::WorldPointToViewportPoint(const std::shared_ptr<Camera>& camera, const glm::vec3& point)
{
    if (!camera) {
        LogNullCamera();
        return glm::vec3(0.0f);
    }
    return WorldPointToViewportPoint(*camera, point);
}

glm::vec3 CameraOperator::WorldPointToWindowPoint(const Camera& camera, const glm::vec3& point)
{
    glm::vec3 result = WorldPointToViewportPoint(camera, point);
    result.y = float(camera.GetHeight()) - result.y;
    return result;
}

glm::vec3 CameraOperator::WorldPointToWindowPoint(const std::shared_ptr<Camera>& camera, const glm::vec3& point)
{
    if (!camera) {
        LogNullCamera();
        return glm::vec3(0.0f);
    }
    return WorldPointToWindowPoint(*camera, point);
}

glm::vec3 CameraOperator::WindowPointToWorldPoint(const Camera& camera, const glm::vec3& windowPoint)
{
    return ViewportToWorld(camera, glm::dvec3(windowPoint.x, double(camera.GetHeight()) - double(windowPoint.y),
                                              windowPoint.z));
}

void CameraOperator::ZoomToBBox(const std::shared_ptr<Camera>& camera, const AxisAlignedBox& box, float factor)
{
    if (!camera) {
        LogNullCamera();
        return;
    }
    ZoomToBBox(*camera, box, factor);
}

void CameraOperator::ZoomToBBox(Camera& camera, const AxisAlignedBox& box, float factor)
{
    const glm::vec3 centre = box.getCenter();
    float radius = glm::length(box.getSize()) * 0.5f;
    if (!box.isFinite() || !IsFinite(centre) || !std::isfinite(radius)) {
        Logger::Instance().Waring("Bounding box is not finite!");
        return;
    }
    if (!(factor > 0.0f) || !std::isfinite(factor)) {
        Logger::Instance().Waring("Zoom to box factor is invalid!");
        factor = 1.0f;
    }
    radius *= factor;
    // A single point still needs a sphere with some size to frame.
    if (!(radius > 0.0f) || !std::isfinite(radius))
        radius = 1.0f;

    const float halfFov = camera.GetFov() * 0.5f;
    const float aspect = camera.GetAspect();
    float distance;
    if (camera.GetProjectionType() == Camera::PROJECTION_PERSPECTIVE) {
        // The sphere touches the narrower of the two view cones.
        const float halfFovH = std::atan(std::tan(halfFov) * aspect);
        distance = radius / std::sin(std::min(halfFov, halfFovH));
    } else {
        // Half the view height that fits the sphere both ways.
        const float halfHeight = radius / std::min(1.0f, aspect);
        distance = halfHeight / std::tan(halfFov);
    }
    if (!std::isfinite(distance)) {
        Logger::Instance().Waring("Bounding box is not finite!");
        return;
    }

    // A box too small for float resolution at its position cannot be framed.
    const glm::vec3 eye = centre - camera.GetDirection() * distance;
    if (!IsFinite(eye) || eye == centre) {
        Logger::Instance().Waring("Bounding box can not be framed!");
        return;
    }
    camera.LookAt(eye, centre, camera.GetUp());
    if (camera.GetProjectionType() == Camera::PROJECTION_PERSPECTIVE)
        camera.SetClipRange(std::max(distance - radius, distance * 1e-3f), distance + radius);
    else
        camera.SetClipRange(distance - radius, distance + radius);
}

namespace {

/// The camera's frame: right, up and forward (eye towards target), unit.
struct ViewFrame {
    glm::vec3 right, up, forward;
    explicit ViewFrame(const Camera& camera)
        : right(glm::normalize(glm::cross(camera.GetDirection(), camera.GetUp()))), up(camera.GetUp()),
          forward(camera.GetDirection())
    {
    }
    glm::vec3 Local(const glm::vec3& p) const { return {glm::dot(p, right), glm::dot(p, up), glm::dot(p, forward)}; }
};

/// Corner i of a finite box: bit 0 picks the maximum x, bit 1 y, bit 2 z.
glm::vec3 Corner(const AxisAlignedBox& box, int i)
{
    const glm::vec3& lo = box.getMinimum();
    const glm::vec3& hi = box.getMaximum();
    return {(i & 1) ? hi.x : lo.x, (i & 2) ? hi.y : lo.y, (i & 4) ? hi.z : lo.z};
}

/// The lateral eye position (along one view axis) that centres the corners'
/// perspective projection on that axis, for an eye at depth `eyeDepth`:
/// the root of (largest + smallest projected offset), which falls as the
/// eye moves, searched between the corners' extremes.
float CentredOffset(const glm::vec3 (&corners)[8], int axis, float eyeDepth)
{
    float lo = std::numeric_limits<float>::max(), hi = -std::numeric_limits<float>::max();
    for (const glm::vec3& c : corners) {
        lo = std::min(lo, c[axis]);
        hi = std::max(hi, c[axis]);
    }
    for (int iteration = 0; iteration < 48 && lo < hi; ++iteration) {
        const float mid = 0.5f * (lo + hi);
        float top = -std::numeric_limits<float>::max(), bottom = std::numeric_limits<float>::max();
        for (const glm::vec3& c : corners) {
            const float offset = (c[axis] - mid) / std::max(c.z - eyeDepth, 1e-30f);
            top = std::max(top, offset);
            bottom = std::min(bottom, offset);
        }
        (top + bottom > 0.0f ? lo : hi) = mid;
    }
    return 0.5f * (lo + hi);
}

/// Depths (along the view direction, from the eye) that a box spans.
void DepthRange(const Camera& camera, const AxisAlignedBox& box, float& nearest, float& farthest)
{
    const glm::vec3 forward = camera.GetDirection();
    const glm::vec3 eye = camera.GetEye();
    nearest = std::numeric_limits<float>::max();
    farthest = -std::numeric_limits<float>::max();
    for (int i = 0; i < 8; ++i) {
        const float depth = glm::dot(Corner(box, i) - eye, forward);
        nearest = std::min(nearest, depth);
        farthest = std::max(farthest, depth);
    }
}

/// A clip range over [nearest, farthest] with a little room, valid for the
/// camera's projection (a perspective near plane stays in front of the eye).
void SetClipAround(Camera& camera, float nearest, float farthest)
{
    const float pad = std::max(farthest - nearest, std::fabs(farthest)) * 1e-3f + 1e-6f;
    float nearPlane = nearest - pad;
    const float farPlane = farthest + pad;
    if (camera.GetProjectionType() == Camera::PROJECTION_PERSPECTIVE)
        nearPlane = std::max(nearPlane, farPlane * 1e-4f);
    camera.SetClipRange(nearPlane, farPlane);
}

} // namespace

void CameraOperator::FitToBox(const std::shared_ptr<Camera>& camera, const AxisAlignedBox& box, float margin)
{
    if (!camera) {
        LogNullCamera();
        return;
    }
    FitToBox(*camera, box, margin);
}

void CameraOperator::FitToBox(Camera& camera, const AxisAlignedBox& box, float margin)
{
    if (!box.isFinite() || !IsFinite(box.getMinimum()) || !IsFinite(box.getMaximum())) {
        Logger::Instance().Waring("Bounding box is not finite!");
        return;
    }
    if (!std::isfinite(margin))
        margin = 0.0f;
    const float fill = 1.0f - 2.0f * std::clamp(margin, 0.0f, 0.45f);
    // Tangents of the half angles that the box may fill, zoom included.
    const float tanY = std::tan(camera.GetFov() * 0.5f) / camera.GetZoomFactor() * fill;
    const float tanX = tanY * camera.GetAspect();
    const ViewFrame frame(camera);

    glm::vec3 lo(std::numeric_limits<float>::max()), hi(-std::numeric_limits<float>::max());
    // For the perspective fit: the tightest eye position against each pair
    // of opposite side planes of the view pyramid.
    float minusX = -std::numeric_limits<float>::max(), plusX = std::numeric_limits<float>::max();
    float minusY = -std::numeric_limits<float>::max(), plusY = std::numeric_limits<float>::max();
    glm::vec3 corners[8];
    for (int i = 0; i < 8; ++i) {
        const glm::vec3 c = corners[i] = frame.Local(Corner(box, i));
        lo = glm::min(lo, c);
        hi = glm::max(hi, c);
        minusX = std::max(minusX, c.x - tanX * c.z);
        plusX = std::min(plusX, c.x + tanX * c.z);
        minusY = std::max(minusY, c.y - tanY * c.z);
        plusY = std::min(plusY, c.y + tanY * c.z);
    }
    const glm::vec3 centre = (lo + hi) * 0.5f;
    glm::vec3 eye; // in the camera frame
    float distance; // from the eye to the box centre's depth
    if (camera.GetProjectionType() == Camera::PROJECTION_PERSPECTIVE) {
        // A corner (x, z) is in view when |x - ex| <= tan * (z - ez): the
        // eye sits where the two planes through the outermost corners meet,
        // the farther back of the horizontal and vertical answers. The
        // other direction then has room to spare, shared equally.
        const float depthX = (plusX - minusX) / (2.0f * tanX);
        const float depthY = (plusY - minusY) / (2.0f * tanY);
        const float depth = std::min(depthX, depthY);
        eye = glm::vec3(CentredOffset(corners, 0, depth), CentredOffset(corners, 1, depth), depth);
        distance = centre.z - eye.z;
    } else {
        // The orthographic view's half height is distance * tan(fov / 2) / zoom.
        const float halfHeight = std::max((hi.y - lo.y) * 0.5f, (hi.x - lo.x) * 0.5f / camera.GetAspect());
        distance = std::max(halfHeight / tanY, 1e-6f);
        eye = glm::vec3(centre.x, centre.y, centre.z - distance);
    }
    const glm::vec3 worldEye = frame.right * eye.x + frame.up * eye.y + frame.forward * eye.z;
    const glm::vec3 worldTarget = worldEye + frame.forward * distance;
    if (!IsFinite(worldEye) || !IsFinite(worldTarget) || !(distance > 0.0f) || worldEye == worldTarget) {
        Logger::Instance().Waring("Bounding box can not be framed!");
        return;
    }
    camera.LookAt(worldEye, worldTarget, frame.up);
    float nearest = 0.0f, farthest = 0.0f;
    DepthRange(camera, box, nearest, farthest);
    SetClipAround(camera, nearest, farthest);
}

void CameraOperator::EncloseInClipRange(Camera& camera, const AxisAlignedBox& box)
{
    if (!box.isFinite())
        return;
    float nearest = 0.0f, farthest = 0.0f;
    DepthRange(camera, box, nearest, farthest);
    if (nearest >= camera.GetNear() && farthest <= camera.GetFar())
        return;
    SetClipAround(camera, std::min(nearest, camera.GetNear()), std::max(farthest, camera.GetFar()));
}

void CameraOperator::SetStandardView(const std::shared_ptr<Camera>& camera, EnumStandardView view,
                                     const AxisAlignedBox& box, float factor)
{
    if (!camera) {
        LogNullCamera();
        return;
    }
    SetStandardView(*camera, view, box, factor);
}

void CameraOperator::SetStandardView(Camera& camera, EnumStandardView view, const AxisAlignedBox& box, float factor)
{
    glm::vec3 direction, up;
    if (!GetStandardViewDirection(view, direction, up)) {
        Logger::Instance().Waring("Standard view is invalid!");
        return;
    }
    const glm::vec3 target = camera.GetTarget();
    camera.LookAt(target - direction * camera.GetDistance(), target, up);
    ZoomToBBox(camera, box, factor);
}

bool CameraOperator::GetStandardViewDirection(EnumStandardView view, glm::vec3& direction, glm::vec3& up)
{
    if (view == STANDARD_VIEW_NONE || view >= STANDARD_VIEW_COUNT)
        return false;
    const unsigned faces = ViewFaces[view];
    glm::vec3 eyeOffset(0.0f);
    if (faces & F)
        eyeOffset.y -= 1.0f;
    if (faces & B)
        eyeOffset.y += 1.0f;
    if (faces & R)
        eyeOffset.x += 1.0f;
    if (faces & L)
        eyeOffset.x -= 1.0f;
    if (faces & T)
        eyeOffset.z += 1.0f;
    if (faces & D)
        eyeOffset.z -= 1.0f;
    direction = -glm::normalize(eyeOffset);

    if (faces == T) {
        up = glm::vec3(0.0f, 1.0f, 0.0f);
    } else if (faces == D) {
        up = glm::vec3(0.0f, -1.0f, 0.0f);
    } else {
        const glm::vec3 z(0.0f, 0.0f, 1.0f);
        up = glm::normalize(z - direction * glm::dot(z, direction));
    }
    return true;
}

} // namespace orvcore
