#include <orvkernel/geometry/BufferGeometry.h>

#include <orvcommon/Logger.h>

#include <cmath>
#include <cstdint>
#include <cstring>

namespace orvcore {

namespace {
const std::shared_ptr<BufferAttribute> kNoAttribute;
}

void BufferGeometry::SetAttribute(uint32_t slot, const std::shared_ptr<BufferAttribute>& attribute)
{
    if (slot >= ATTRIBUTE_SLOT_COUNT) {
        Logger::Instance().Waring("Index is out of range!");
        return;
    }
    m_Attributes[slot] = attribute;
    // A new position attribute may reuse the address of the one the box was
    // computed from, with an equal version: forget the box's source.
    if (slot == ATTRIBUTE_POSITION)
        m_BoxComputed = false;
}

const std::shared_ptr<BufferAttribute>& BufferGeometry::GetAttribute(uint32_t slot) const
{
    return slot < ATTRIBUTE_SLOT_COUNT ? m_Attributes[slot] : kNoAttribute;
}

std::size_t BufferGeometry::GetVertexCount() const
{
    return m_Attributes[ATTRIBUTE_POSITION] ? m_Attributes[ATTRIBUTE_POSITION]->GetCount() : 0;
}

std::size_t BufferGeometry::GetElementCount() const { return m_Index ? m_Index->GetCount() : GetVertexCount(); }

std::size_t BufferGeometry::GetPrimitiveCount() const
{
    const std::size_t n = GetElementCount();
    switch (m_PrimitiveType) {
    case PRIMITIVE_POINTS: return n;
    case PRIMITIVE_LINES: return n / 2;
    case PRIMITIVE_LINE_LOOP: return n >= 2 ? n : 0;
    case PRIMITIVE_LINE_STRIP: return n >= 2 ? n - 1 : 0;
    case PRIMITIVE_TRIANGLES: return n / 3;
    case PRIMITIVE_TRIANGLE_STRIP:
    case PRIMITIVE_TRIANGLE_FAN: return n >= 3 ? n - 2 : 0;
    case PRIMITIVE_UNDEFINED: break;
    }
    return 0;
}

void BufferGeometry::ComputeBoundingBox() { ComputeBoundingBoxImpl(); }

void BufferGeometry::ComputeBoundingBoxImpl() const
{
    const BufferAttribute* positions = m_Attributes[ATTRIBUTE_POSITION].get();
    m_BoundingBox.setNull();
    m_BoxSource = positions;
    m_BoxVersion = positions ? positions->GetVersion() : 0;
    m_BoxComputed = true;
    if (!positions || positions->GetCount() == 0)
        return;

    glm::vec3 lo(INFINITY), hi(-INFINITY);
    bool skipped = false;
    const bool packedFloats = positions->GetDataType() == DATA_TYPE_FLOAT && positions->GetItemSize() >= 3;
    const uint8_t* base = positions->GetData();
    const uint32_t stride = positions->GetByteStride();
    if (packedFloats && stride == 3 * sizeof(float) &&
        reinterpret_cast<std::uintptr_t>(base) % alignof(float) == 0) {
        // Tightly packed floats (streamed clouds of millions of points are
        // boxed every batch): one branch-free pass. Comparisons never take
        // a NaN, and `v - v` is 0 for finite values only, so one flag tells
        // whether the careful loop below must run instead.
        const float* v = reinterpret_cast<const float*>(base);
        float l[3] = {INFINITY, INFINITY, INFINITY}, h[3] = {-INFINITY, -INFINITY, -INFINITY};
        bool finite = true;
        for (std::size_t i = 0, n = positions->GetCount() * 3; i < n; i += 3) {
            for (int c = 0; c < 3; ++c) {
                const float x = v[i + std::size_t(c)];
                finite &= (x - x == 0.0f);
                l[c] = x < l[c] ? x : l[c];
                h[c] = x > h[c] ? x : h[c];
            }
        }
        if (finite) {
            m_BoundingBox.setExtents(glm::vec3(l[0], l[1], l[2]), glm::vec3(h[0], h[1], h[2]));
            return;
        }
    }
    for (std::size_t i = 0, n = positions->GetCount(); i < n; ++i) {
        glm::vec3 p;
        if (packedFloats)
            std::memcpy(&p, base + i * stride, sizeof(p));
        else
            p = positions->GetVec3(i);
        if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
            skipped = true;
            continue;
        }
        lo = glm::min(lo, p);
        hi = glm::max(hi, p);
    }
    if (skipped)
        Logger::Instance().Waring("Geometry has non-finite positions!");
    if (lo.x <= hi.x)
        m_BoundingBox.setExtents(lo, hi);
}

void BufferGeometry::SetBoundingBox(const AxisAlignedBox& box)
{
    const BufferAttribute* positions = m_Attributes[ATTRIBUTE_POSITION].get();
    m_BoundingBox = box;
    m_BoxSource = positions;
    m_BoxVersion = positions ? positions->GetVersion() : 0;
    m_BoxComputed = true;
}

const AxisAlignedBox& BufferGeometry::GetSafeBoudingBox() const
{
    const BufferAttribute* positions = m_Attributes[ATTRIBUTE_POSITION].get();
    if (!m_BoxComputed || m_BoxSource != positions || (positions && positions->GetVersion() != m_BoxVersion))
        ComputeBoundingBoxImpl();
    return m_BoundingBox;
}

std::shared_ptr<BufferGeometry> BufferGeometry::Clone() const
{
    auto copy = std::make_shared<BufferGeometry>(m_PrimitiveType);
    for (uint32_t slot = 0; slot < ATTRIBUTE_SLOT_COUNT; ++slot) {
        if (m_Attributes[slot])
            copy->m_Attributes[slot] = m_Attributes[slot]->Clone();
    }
    if (m_Index)
        copy->m_Index = m_Index->Clone();
    copy->m_BoundingBox = m_BoundingBox;
    copy->m_BoxComputed = false; // recomputed from the copy when asked safely
    return copy;
}

} // namespace orvcore
