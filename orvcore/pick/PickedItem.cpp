#include <orvcore/pick/PickedItem.h>

#include <orvcore/scene/SceneNode.h>

#include <cstdint>

namespace orvcore {

namespace {

// FNV-1a, 64 bits, over the object representation of a value.
template <typename T>
uint64_t Fnv1a(const T& value)
{
    const auto* bytes = reinterpret_cast<const unsigned char*>(&value);
    uint64_t hash = 0xcbf29ce484222325ull;
    for (std::size_t i = 0; i < sizeof(T); ++i) {
        hash ^= bytes[i];
        hash *= 0x100000001b3ull;
    }
    return hash;
}

void HashCombine(uint64_t& seed, uint64_t h) { seed ^= h + 0x9e3779b9ull + (seed << 6) + (seed >> 2); }

} // namespace

bool PickedItem::operator==(const PickedItem& other) const
{
    if (m_Node != other.m_Node || m_Point.GetShapeFilter() != other.m_Point.GetShapeFilter() ||
        m_Point.GetShapeIndex() != other.m_Point.GetShapeIndex())
        return false;
    if (m_Point.GetShapeFilter() == SHAPE_FILTER_VERTEX)
        return m_Point.GetPrimitiveIndex() == other.m_Point.GetPrimitiveIndex();
    return true;
}

void PickedItem::ResetByFilter(unsigned int filter)
{
    if (filter & (SHAPE_FILTER_SHAPE | SHAPE_FILTER_NODE))
        m_Point.SetShapeFilter(SHAPE_FILTER_NONE);
}

void PickedItem::SetPosition(const glm::vec3& p)
{
    m_Point.SetLocalPosition(p);
    m_Point.SetPosition(p);
}

unsigned int PickedItem::GetNodeId() const { return m_Node ? m_Node->GetObjectId() : 0u; }

SceneNode* PickedItem::GetRootNode() const
{
    SceneNode* node = m_Node;
    if (!node)
        return nullptr;
    while (node->GetParent())
        node = node->GetParent();
    return node;
}

std::size_t PickedItem::Hash() const
{
    uint64_t seed = 0;
    HashCombine(seed, Fnv1a(m_ElementId.GetValue()));

    uint64_t shape = 0;
    HashCombine(shape, Fnv1a(static_cast<uint32_t>(m_Point.GetShapeIndex())));
    HashCombine(shape, Fnv1a(static_cast<uint32_t>(m_Point.GetShapeFilter())));
    HashCombine(seed, shape);

    HashCombine(seed, Fnv1a(m_Node));
    return static_cast<std::size_t>(seed);
}

} // namespace orvcore
