#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/device/GfxObject.h>
#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>

namespace orvcore {

/// Attribute slots of a geometry (the shader attribute locations).
enum EnumAttributeSlot : uint32_t {
    ATTRIBUTE_POSITION = 0,
    ATTRIBUTE_NORMAL = 1,
    ATTRIBUTE_UV = 2,
    ATTRIBUTE_COLOR = 3,
    ATTRIBUTE_LINE_DISTANCE = 4, ///< distance along a polyline, per vertex (dashed lines)
    ATTRIBUTE_SLOT_COUNT = 8,
};

/// Vertex attributes by slot, an optional index list and the primitive type
/// they are drawn as. Elements are the indices when an index list is set,
/// the vertices otherwise.
class BufferGeometry : public GfxObject {
public:
    BufferGeometry() = default;
    explicit BufferGeometry(EnumPrimitiveType type) : m_PrimitiveType(type) {}

    EnumPrimitiveType GetPrimitiveType() const { return m_PrimitiveType; }
    void SetPrimitiveType(EnumPrimitiveType type) { m_PrimitiveType = type; }

    /// Stores an attribute in a slot (an empty pointer clears it). A slot
    /// outside [0, 8) logs "Index is out of range!".
    void SetAttribute(uint32_t slot, const std::shared_ptr<BufferAttribute>& attribute);
    const std::shared_ptr<BufferAttribute>& GetAttribute(uint32_t slot) const;
    const std::shared_ptr<BufferAttribute>& GetPositions() const { return m_Attributes[ATTRIBUTE_POSITION]; }
    const std::shared_ptr<BufferAttribute>& GetNormals() const { return m_Attributes[ATTRIBUTE_NORMAL]; }
    const std::shared_ptr<BufferAttribute>& GetUVs() const { return m_Attributes[ATTRIBUTE_UV]; }
    const std::shared_ptr<BufferAttribute>& GetColors() const { return m_Attributes[ATTRIBUTE_COLOR]; }

    void SetIndex(const std::shared_ptr<ElementAttribute>& index) { m_Index = index; }
    const std::shared_ptr<ElementAttribute>& GetIndex() const { return m_Index; }

    /// Number of vertices (items of the position attribute; 0 without one).
    std::size_t GetVertexCount() const;
    /// Number of elements: indices when indexed, vertices otherwise.
    std::size_t GetElementCount() const;
    /// Vertex number of element i (unchecked).
    uint32_t GetElementVertex(std::size_t i) const { return m_Index ? m_Index->Get(i) : static_cast<uint32_t>(i); }
    /// Number of points, segments or triangles the elements form under the
    /// primitive type (a strip of n elements has n - 2 triangles, a loop of
    /// n has n segments, ...); 0 for an unknown type.
    std::size_t GetPrimitiveCount() const;

    /// Recomputes the box of all vertex positions. Without positions the box
    /// is null; non-finite positions are skipped with one warning.
    void ComputeBoundingBox();
    /// Takes `box` as the box of the current positions, for builders that
    /// know it without a pass over them (a flat plane, lines over another
    /// geometry's vertices); kept until the positions change like a computed
    /// one.
    void SetBoundingBox(const AxisAlignedBox& box);
    /// The box as last computed.
    const AxisAlignedBox& GetBoundingBox() const { return m_BoundingBox; }
    /// The box, computed first when it was never computed or the positions
    /// changed since: never stale.
    const AxisAlignedBox& GetSafeBoudingBox() const;

    /// Deep copy: attributes and index are copied, not shared.
    std::shared_ptr<BufferGeometry> Clone() const;

private:
    EnumPrimitiveType m_PrimitiveType = PRIMITIVE_TRIANGLES;
    std::array<std::shared_ptr<BufferAttribute>, ATTRIBUTE_SLOT_COUNT> m_Attributes;
    std::shared_ptr<ElementAttribute> m_Index;
    // The box is a cache over the positions: identity and version of the
    // attribute it was computed from.
    mutable AxisAlignedBox m_BoundingBox;
    mutable const BufferAttribute* m_BoxSource = nullptr;
    mutable uint32_t m_BoxVersion = 0;
    mutable bool m_BoxComputed = false;

    void ComputeBoundingBoxImpl() const;
};

} // namespace orvcore
