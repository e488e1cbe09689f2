#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/device/GfxObject.h>
#include <orvkernel/shape/PrimitiveShape.h>

namespace orvcore {

/// An ordered list of primitive shapes that together form one model (its
/// faces, edges, vertices); members are addressed by their index.
class CompoundShape : public GfxObject {
public:
    CompoundShape() = default;
    explicit CompoundShape(std::vector<std::shared_ptr<PrimitiveShape>> primitives);

    const std::vector<std::shared_ptr<PrimitiveShape>>& GetPrimitives() const { return m_Primitives; }
    std::size_t GetCount() const { return m_Primitives.size(); }
    /// Member i, or empty with "Index is out of range!".
    std::shared_ptr<PrimitiveShape> GetPrimitive(uint32_t index) const;
    /// Appends a member; an empty pointer is refused with "PrimitiveShape is null!".
    void AddPrimitive(const std::shared_ptr<PrimitiveShape>& primitive);
    void Clear() { m_Primitives.clear(); }

    /// Merge of the members' boxes.
    AxisAlignedBox GetBoundingBox() const;
    /// Deep copy of every member.
    std::shared_ptr<CompoundShape> Clone() const;

private:
    std::vector<std::shared_ptr<PrimitiveShape>> m_Primitives;
};

} // namespace orvcore
