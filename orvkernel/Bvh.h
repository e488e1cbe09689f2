#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

#include <glm/common.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

/// Bounding-volume hierarchy over primitive boxes, built top-down with the
/// binned surface area heuristic: per node, the primitives' centroids are
/// binned into 16 slabs along the axis where they spread most, and the plane
/// between slabs with the lowest area-weighted cost splits the node.
///
/// Nodes live in one cache-aligned array, the root first and an unused slot
/// after it; an inner node's two children are adjacent (`first`, `first + 1`,
/// first even), so that a pair of siblings shares one cache line, and always
/// stored after their parent, so
/// walking the array backwards visits children before parents (refits use
/// that). A leaf covers `count` entries of the primitive-index array starting
/// at `first`.
/// Allocator for cache-line aligned arrays.
template <typename T, std::size_t Alignment = 64>
struct CacheAlignedAllocator {
    using value_type = T;
    CacheAlignedAllocator() = default;
    template <typename U>
    CacheAlignedAllocator(const CacheAlignedAllocator<U, Alignment>&) noexcept
    {
    }
    template <typename U>
    struct rebind {
        using other = CacheAlignedAllocator<U, Alignment>;
    };
    T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), std::align_val_t(Alignment))); }
    void deallocate(T* p, std::size_t) noexcept { ::operator delete(p, std::align_val_t(Alignment)); }
    bool operator==(const CacheAlignedAllocator&) const { return true; }
    bool operator!=(const CacheAlignedAllocator&) const { return false; }
};

class Bvh {
public:
    struct Node {
        glm::vec3 min;
        uint32_t first; ///< left child (inner node) or first primitive slot (leaf)
        glm::vec3 max;
        uint32_t count; ///< primitives in a leaf; 0 for an inner node
        bool IsLeaf() const { return count != 0; }
    };

    /// Builds over `count` primitives. `boxOf(i, min, max)` fills primitive
    /// i's box and returns false for a primitive to leave out (degenerate or
    /// invalid). Leaves hold at most `maxLeafSize` primitives unless their
    /// centroids coincide.
    template <typename BoxFn>
    void Build(uint32_t count, BoxFn&& boxOf, uint32_t maxLeafSize = 4);

    /// Recomputes every node box from the primitives' current boxes, keeping
    /// the topology. `boxOf` is called for every primitive in the tree and
    /// must not leave one out.
    template <typename BoxFn>
    void Refit(BoxFn&& boxOf);

    void Clear();
    bool IsEmpty() const { return m_Nodes.empty(); }
    using NodeArray = std::vector<Node, CacheAlignedAllocator<Node>>;
    const NodeArray& GetNodes() const { return m_Nodes; }
    /// Primitive numbers in leaf order.
    const std::vector<uint32_t>& GetPrimitiveIndices() const { return m_Indices; }
    std::size_t GetDepth() const;

    /// Primitive reference used while building: box corners with a zero w
    /// lane, so that four-wide min/max work on them directly.
    struct Ref {
        float min[4];
        float max[4];
    };

private:
    void BuildFromRefs(uint32_t maxLeafSize);
    void BuildSmall(uint32_t node, uint32_t begin, uint32_t end, uint32_t maxLeafSize);
    void SetNode(uint32_t index, const float* lo, const float* hi, uint32_t first, uint32_t count);

    NodeArray m_Nodes;
    std::vector<uint32_t> m_Indices;
    std::vector<Ref> m_Refs; // scratch, kept between builds to avoid reallocation
};

template <typename BoxFn>
void Bvh::Build(uint32_t count, BoxFn&& boxOf, uint32_t maxLeafSize)
{
    m_Refs.clear();
    m_Refs.reserve(count);
    m_Indices.clear();
    m_Indices.reserve(count);
    glm::vec3 lo, hi;
    for (uint32_t i = 0; i < count; ++i) {
        if (!boxOf(i, lo, hi))
            continue;
        m_Refs.push_back(Ref{{lo.x, lo.y, lo.z, 0.0f}, {hi.x, hi.y, hi.z, 0.0f}});
        m_Indices.push_back(i);
    }
    BuildFromRefs(maxLeafSize);
}

template <typename BoxFn>
void Bvh::Refit(BoxFn&& boxOf)
{
    glm::vec3 lo, hi;
    for (std::size_t n = m_Nodes.size(); n-- > 0;) {
        if (n == 1)
            continue; // the unused slot that aligns sibling pairs
        Node& node = m_Nodes[n];
        if (node.IsLeaf()) {
            glm::vec3 nmin(INFINITY), nmax(-INFINITY);
            for (uint32_t k = 0; k < node.count; ++k) {
                boxOf(m_Indices[node.first + k], lo, hi);
                nmin = glm::min(nmin, lo);
                nmax = glm::max(nmax, hi);
            }
            node.min = nmin;
            node.max = nmax;
        } else {
            const Node& a = m_Nodes[node.first];
            const Node& b = m_Nodes[node.first + 1];
            node.min = glm::min(a.min, b.min);
            node.max = glm::max(a.max, b.max);
        }
    }
}

} // namespace orvcore
