#include <orvkernel/shape/CompoundShape.h>

#include <orvcommon/Logger.h>

namespace orvcore {

CompoundShape::CompoundShape(std::vector<std::shared_ptr<PrimitiveShape>> primitives)
{
    for (auto& p : primitives)
        AddPrimitive(p);
}

std::shared_ptr<PrimitiveShape> CompoundShape::GetPrimitive(uint32_t index) const
{
    if (index >= m_Primitives.size()) {
        Logger::Instance().Waring("Index is out of range!");
        return {};
    }
    return m_Primitives[index];
}

void CompoundShape::AddPrimitive(const std::shared_ptr<PrimitiveShape>& primitive)
{
    if (!primitive) {
        Logger::Instance().Waring("PrimitiveShape is null!");
        return;
    }
    m_Primitives.push_back(primitive);
}

AxisAlignedBox CompoundShape::GetBoundingBox() const
{
    AxisAlignedBox box;
    for (const auto& p : m_Primitives)
        box.merge(p->GetBoundingBox());
    return box;
}

std::shared_ptr<CompoundShape> CompoundShape::Clone() const
{
    auto copy = std::make_shared<CompoundShape>();
    copy->m_Primitives.reserve(m_Primitives.size());
    for (const auto& p : m_Primitives)
        copy->m_Primitives.push_back(p->Clone());
    return copy;
}

} // namespace orvcore
