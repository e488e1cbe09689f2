#pragma once

#include <cmath>

#include <glm/common.hpp>
#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

/// Axis-aligned box with three extent states.
///
/// A null box is empty: it contains nothing, intersects nothing and is the
/// identity of `merge`. An infinite box contains everything. Only a finite box
/// has meaningful corners; the corners of the other two states are unspecified.
class AxisAlignedBox {
public:
    enum Extent { EXTENT_NULL = 0, EXTENT_FINITE = 1, EXTENT_INFINITE = 2 };

    /// A null box.
    AxisAlignedBox() = default;
    explicit AxisAlignedBox(Extent extent) : m_Extent(extent) {}
    /// The finite box spanned by two corners, given in any order.
    AxisAlignedBox(const glm::vec3& a, const glm::vec3& b) { setExtents(a, b); }

    Extent getExtent() const { return m_Extent; }
    bool isNull() const { return m_Extent == EXTENT_NULL; }
    bool isFinite() const { return m_Extent == EXTENT_FINITE; }
    bool isInfinite() const { return m_Extent == EXTENT_INFINITE; }

    void setNull() { m_Extent = EXTENT_NULL; }
    void setInfinite() { m_Extent = EXTENT_INFINITE; }
    /// Makes the box finite, spanned by two corners in any order. A corner
    /// that is not a number logs a warning and leaves the box null.
    void setExtents(const glm::vec3& a, const glm::vec3& b);

    const glm::vec3& getMinimum() const { return m_Min; }
    const glm::vec3& getMaximum() const { return m_Max; }

    /// Centre of a finite box; the origin for null and infinite boxes.
    glm::vec3 getCenter() const;
    /// Edge lengths of a finite box; zero for a null box and +infinity on
    /// every axis for an infinite one.
    glm::vec3 getSize() const;
    /// Half the edge lengths (see `getSize`).
    glm::vec3 getHalfSize() const;

    /// Grows the box to enclose `other`. Null is the identity; an infinite
    /// operand makes the result infinite.
    inline void merge(const AxisAlignedBox& other);
    /// Grows the box to enclose a point. A null box becomes that point.
    void merge(const glm::vec3& point);

    /// Replaces the box by the axis-aligned box of the transformed box.
    /// Affine matrices use the centre-extent form (exact, no corner loop);
    /// projective ones transform the eight corners with the w divide.
    /// Null and infinite boxes keep their state.
    inline void transform(const glm::mat4& matrix);

    /// Overlap test, closed on both sides. A null box intersects nothing;
    /// an infinite box intersects every non-null box.
    bool intersects(const AxisAlignedBox& other) const;
    /// Inclusive point test. False for null, true for infinite.
    bool containsPoint(const glm::vec3& point) const;

    bool operator==(const AxisAlignedBox& other) const;
    bool operator!=(const AxisAlignedBox& other) const { return !(*this == other); }

private:
    void transformProjective(const glm::mat4& matrix);

    glm::vec3 m_Min{0.0f};
    glm::vec3 m_Max{0.0f};
    Extent m_Extent = EXTENT_NULL;
};

// The two operations below run once per node and frame in world updates, so
// they are inline.

void AxisAlignedBox::merge(const AxisAlignedBox& other)
{
    if (other.m_Extent == EXTENT_NULL || m_Extent == EXTENT_INFINITE)
        return;
    if (other.m_Extent == EXTENT_INFINITE) {
        m_Extent = EXTENT_INFINITE;
        return;
    }
    if (m_Extent == EXTENT_NULL) {
        *this = other;
        return;
    }
    m_Min = glm::min(m_Min, other.m_Min);
    m_Max = glm::max(m_Max, other.m_Max);
}

void AxisAlignedBox::transform(const glm::mat4& matrix)
{
    if (m_Extent != EXTENT_FINITE)
        return;
    const float* m = &matrix[0][0]; // column-major: m[col * 4 + row]
    if (m[3] != 0.0f || m[7] != 0.0f || m[11] != 0.0f || m[15] != 1.0f) {
        transformProjective(matrix);
        return;
    }
    // Centre-extent form: the new half size along axis r is the absolute
    // row r of the linear part applied to the old half sizes. Written on
    // plain floats, which compiles to much tighter code than vec3 algebra.
    const float cx = (m_Min.x + m_Max.x) * 0.5f, cy = (m_Min.y + m_Max.y) * 0.5f, cz = (m_Min.z + m_Max.z) * 0.5f;
    const float hx = (m_Max.x - m_Min.x) * 0.5f, hy = (m_Max.y - m_Min.y) * 0.5f, hz = (m_Max.z - m_Min.z) * 0.5f;
    float lo[3], hi[3];
    for (int r = 0; r < 3; ++r) {
        const float c = m[r] * cx + m[4 + r] * cy + m[8 + r] * cz + m[12 + r];
        const float h = std::fabs(m[r]) * hx + std::fabs(m[4 + r]) * hy + std::fabs(m[8 + r]) * hz;
        lo[r] = c - h;
        hi[r] = c + h;
    }
    m_Min = glm::vec3(lo[0], lo[1], lo[2]);
    m_Max = glm::vec3(hi[0], hi[1], hi[2]);
}

} // namespace orvcore
