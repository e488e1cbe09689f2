#include <orvcommon/Ray.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>
#include <orvcommon/Plane.h>
#include <orvcommon/Sphere.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>
#include <glm/mat3x3.hpp>

namespace orvcore {

Ray::Ray(const glm::vec3& origin, const glm::vec3& direction) : m_Origin(origin)
{
    setDirection(direction);
}

void Ray::setDirection(const glm::vec3& direction)
{
    const float len = glm::length(direction);
    if (!(len > 0.0f) || !std::isfinite(len)) {
        Logger::Instance().Waring("Ray direction is invalid!");
        return;
    }
    m_Direction = direction / len;
}

void Ray::applyMatrix(const glm::mat4& matrix)
{
    // An affine matrix moves directions by its linear part. Taking the
    // difference of two transformed points instead would lose most of the
    // direction's precision whenever the origin lies far from the matrix's
    // origin (a pick ray starting a thousand units away from a part).
    if (matrix[0][3] == 0.0f && matrix[1][3] == 0.0f && matrix[2][3] == 0.0f && matrix[3][3] == 1.0f) {
        m_Origin = glm::vec3(matrix * glm::vec4(m_Origin, 1.0f));
        setDirection(glm::mat3(matrix) * m_Direction);
        return;
    }
    // A projective matrix bends the ray's parametrisation: the direction is
    // that of the moved point one unit ahead, taken in double precision.
    const glm::dmat4 m(matrix);
    const auto apply = [&m](const glm::dvec3& p) {
        const glm::dvec4 r = m * glm::dvec4(p, 1.0);
        return (r.w != 1.0 && r.w != 0.0) ? glm::dvec3(r) / r.w : glm::dvec3(r);
    };
    const glm::dvec3 origin = apply(glm::dvec3(m_Origin));
    const glm::dvec3 ahead = apply(glm::dvec3(m_Origin) + glm::dvec3(m_Direction));
    m_Origin = glm::vec3(origin);
    setDirection(glm::vec3(ahead - origin));
}

std::pair<bool, float> Ray::intersects(const Plane& plane) const
{
    const float denom = glm::dot(plane.getNormal(), m_Direction);
    const float dist = plane.getDistance(m_Origin);
    if (std::fabs(denom) < 1e-12f)
        return {dist == 0.0f, 0.0f};
    const float t = -dist / denom;
    return {t >= 0.0f, t};
}

std::pair<bool, float> Ray::intersects(const Sphere& sphere) const
{
    const glm::vec3 toOrigin = m_Origin - sphere.getCenter();
    const float r2 = sphere.getRadius() * sphere.getRadius();
    const float c = glm::dot(toOrigin, toOrigin) - r2;
    if (c <= 0.0f)
        return {true, 0.0f};
    // Direction is unit: t^2 + 2 b t + c = 0.
    const float b = glm::dot(toOrigin, m_Direction);
    if (b > 0.0f)
        return {false, 0.0f}; // outside and moving away
    const float disc = b * b - c;
    if (disc < 0.0f)
        return {false, 0.0f};
    return {true, -b - std::sqrt(disc)};
}

float Ray::closestParameterToPoint(const glm::vec3& point) const
{
    return std::max(0.0f, glm::dot(point - m_Origin, m_Direction));
}

glm::vec3 Ray::closestPointToPoint(const glm::vec3& point) const
{
    return getPoint(closestParameterToPoint(point));
}

float Ray::distanceSqToPoint(const glm::vec3& point) const
{
    const glm::vec3 d = closestPointToPoint(point) - point;
    return glm::dot(d, d);
}

float Ray::distanceSqToSegment(const glm::vec3& a, const glm::vec3& b, glm::vec3* pointOnRay,
                               glm::vec3* pointOnSegment, float* rayParameter) const
{
    const glm::vec3 center = (a + b) * 0.5f;
    const glm::vec3 axis = b - a;
    const float length = glm::length(axis);

    float s0 = 0.0f; // ray parameter
    float s1 = 0.0f; // segment parameter, measured from the centre
    glm::vec3 segDir(0.0f);
    if (length > 0.0f) {
        segDir = axis / length;
        const float extent = length * 0.5f;
        const glm::vec3 diff = m_Origin - center;
        const float a01 = -glm::dot(m_Direction, segDir);
        const float b0 = glm::dot(diff, m_Direction);
        const float b1 = -glm::dot(diff, segDir);
        const float det = std::fabs(1.0f - a01 * a01);
        auto clampSeg = [extent](float v) { return std::min(std::max(-extent, v), extent); };

        if (det > 1e-8f) {
            s0 = a01 * b1 - b0;
            s1 = a01 * b0 - b1;
            const float extDet = extent * det;
            if (s0 >= 0.0f) {
                if (s1 >= -extDet && s1 <= extDet) {
                    s0 /= det; // both interior
                    s1 /= det;
                } else {
                    s1 = s1 > extDet ? extent : -extent;
                    s0 = std::max(0.0f, -(a01 * s1 + b0));
                }
            } else if (s1 <= -extDet) {
                s0 = std::max(0.0f, -(-a01 * extent + b0));
                s1 = s0 > 0.0f ? -extent : clampSeg(-b1);
            } else if (s1 <= extDet) {
                s0 = 0.0f;
                s1 = clampSeg(-b1);
            } else {
                s0 = std::max(0.0f, -(a01 * extent + b0));
                s1 = s0 > 0.0f ? extent : clampSeg(-b1);
            }
        } else {
            // Parallel: take the segment end that lies further back along the ray.
            s1 = a01 > 0.0f ? -extent : extent;
            s0 = std::max(0.0f, -(a01 * s1 + b0));
        }
    } else {
        s0 = closestParameterToPoint(center);
    }

    const glm::vec3 onRay = getPoint(s0);
    const glm::vec3 onSegment = center + segDir * s1;
    if (pointOnRay)
        *pointOnRay = onRay;
    if (pointOnSegment)
        *pointOnSegment = onSegment;
    if (rayParameter)
        *rayParameter = s0;
    const glm::vec3 d = onRay - onSegment;
    return glm::dot(d, d);
}

} // namespace orvcore
