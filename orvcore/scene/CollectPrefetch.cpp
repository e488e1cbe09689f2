#include <orvcore/scene/CollectPrefetch.h>

#include <algorithm>

#include <orvkernel/shape/CompoundShape.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

namespace orvcore {

namespace {

// Members a shape is fetched for: the first few (a part's faces, edges and
// points).
constexpr std::size_t kMembers = 4;

inline void Fetch(const void* p)
{
    if (p)
        __builtin_prefetch(p);
}

inline void FetchLines(const void* p, std::size_t bytes)
{
    const char* c = static_cast<const char*>(p);
    for (std::size_t offset = 0; offset < bytes; offset += 64)
        __builtin_prefetch(c + offset);
}

inline const CompoundShape* ShapeOf(const SceneNode* node)
{
    return static_cast<const ShapeSceneNode*>(node)->GetShape().get();
}

inline const PrimitiveShape* PrimitiveOf(const SceneNode* node)
{
    return static_cast<const PrimitiveSceneNode*>(node)->GetPrimitive().get();
}

// Geometry and material of a primitive that is in the cache by now.
inline void FetchParts(const PrimitiveShape* primitive)
{
    if (primitive) {
        Fetch(primitive->GetGeometry().get());
        Fetch(primitive->GetMaterial().get());
    }
}

} // namespace

void PrefetchCollect(SceneNode* const* nodes, std::size_t i, std::size_t count)
{
    if (i + 16 < count) // the node: base fields and the start of its kind's
        FetchLines(nodes[i + 16], sizeof(SceneNode) + 64);
    if (i + 12 < count) {
        const SceneNode* node = nodes[i + 12];
        if (node->GetCollectKind() == SceneNode::COLLECT_SHAPE)
            Fetch(ShapeOf(node));
        else if (node->GetCollectKind() == SceneNode::COLLECT_PRIMITIVE)
            Fetch(PrimitiveOf(node));
    }
    if (i + 8 < count) {
        const SceneNode* node = nodes[i + 8];
        if (node->GetCollectKind() == SceneNode::COLLECT_SHAPE) {
            if (const CompoundShape* shape = ShapeOf(node))
                Fetch(shape->GetPrimitives().data());
        } else if (node->GetCollectKind() == SceneNode::COLLECT_PRIMITIVE) {
            FetchParts(PrimitiveOf(node));
        }
    }
    if (i + 4 < count && nodes[i + 4]->GetCollectKind() == SceneNode::COLLECT_SHAPE)
        if (const CompoundShape* shape = ShapeOf(nodes[i + 4])) {
            const auto& members = shape->GetPrimitives();
            for (std::size_t k = 0; k < std::min(members.size(), kMembers); ++k)
                Fetch(members[k].get());
        }
    if (i + 2 < count && nodes[i + 2]->GetCollectKind() == SceneNode::COLLECT_SHAPE)
        if (const CompoundShape* shape = ShapeOf(nodes[i + 2])) {
            const auto& members = shape->GetPrimitives();
            for (std::size_t k = 0; k < std::min(members.size(), kMembers); ++k)
                FetchParts(members[k].get());
        }
}

} // namespace orvcore
