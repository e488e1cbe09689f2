#include <orvcommon/Math.h>

#include <cmath>

#include <glm/geometric.hpp>

namespace orvcore {

glm::mat4 Math::ComputeDH(double alpha, double a, double d, double theta)
{
    double st, ct, sa, ca;
    SinCos(theta, st, ct);
    SinCos(alpha, sa, ca);
    // Columns of the frame (glm is column-major).
    glm::mat4 m(1.0f);
    m[0] = glm::vec4(float(ct), float(st), 0.0f, 0.0f);
    m[1] = glm::vec4(float(-st * ca), float(ct * ca), float(sa), 0.0f);
    m[2] = glm::vec4(float(st * sa), float(-ct * sa), float(ca), 0.0f);
    m[3] = glm::vec4(float(a * ct), float(a * st), float(d), 1.0f);
    return m;
}

glm::vec3 Math::transformVec3(const glm::mat4& m, const glm::vec3& p)
{
    const glm::vec4 r = m * glm::vec4(p, 1.0f);
    if (r.w != 1.0f && r.w != 0.0f)
        return glm::vec3(r) / r.w;
    return glm::vec3(r);
}

glm::vec3 Math::transformDirection(const glm::mat4& m, const glm::vec3& v)
{
    const glm::vec3 r = glm::mat3(m) * v;
    const float len = glm::length(r);
    return len > 0.0f ? r / len : glm::vec3(0.0f);
}

glm::mat4 Math::makeLineTransformX(const glm::vec3& from, const glm::vec3& to)
{
    const glm::vec3 axis = to - from;
    const float len = glm::length(axis);
    glm::mat4 m(1.0f);
    m[3] = glm::vec4(from, 1.0f);
    if (!(len > 0.0f)) {
        m[0] = glm::vec4(0.0f);
        return m;
    }
    const glm::vec3 x = axis / len;
    // Pick the helper axis least aligned with x to build a stable frame.
    const glm::vec3 helper = std::fabs(x.z) < 0.9f ? glm::vec3(0.0f, 0.0f, 1.0f) : glm::vec3(0.0f, 1.0f, 0.0f);
    const glm::vec3 y = glm::normalize(glm::cross(helper, x));
    const glm::vec3 z = glm::cross(x, y);
    m[0] = glm::vec4(axis, 0.0f);
    m[1] = glm::vec4(y, 0.0f);
    m[2] = glm::vec4(z, 0.0f);
    return m;
}

glm::vec3 Math::colorFromHex(uint32_t hex)
{
    return glm::vec3(float((hex >> 16) & 0xffu), float((hex >> 8) & 0xffu), float(hex & 0xffu)) / 255.0f;
}

} // namespace orvcore
