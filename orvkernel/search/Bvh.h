#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <glm/common.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/LargePageAllocator.h>

namespace orvcore {

/// Bounding-volume hierarchy over primitive boxes, built top-down with the
/// binned surface area heuristic: per node, the primitives' centroids are
/// binned into 16 slabs along the axis where they spread most, and the plane
/// between slabs with the lowest area-weighted cost splits the node. Large
/// builds split their top levels over the cells of a grid instead (the same
/// heuristic, whole cells moving together), and nodes of 256 primitives or
/// fewer split at the middle of their centroid range.
///
/// Nodes live in one cache-aligned array, the root first and an unused slot
/// after it; an inner node's two children are adjacent (`first`, `first + 1`,
/// first even), so that a pair of siblings shares one cache line, and always
/// stored after their parent, so
/// walking the array backwards visits children before parents (refits use
/// that). A leaf covers `count` entries of the primitive-index array starting
/// at `first`.
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
    ///
    /// `centroidsLo`/`centroidsHi` optionally estimate the range of the
    /// primitives' box centres (the geometry's box will do): given, the root
    /// is binned while the boxes are produced, which saves a pass over them.
    /// A poor estimate costs tree quality, never correctness.
    template <typename BoxFn>
    void Build(uint32_t count, BoxFn&& boxOf, uint32_t maxLeafSize = 4,
               const glm::vec3& centroidsLo = glm::vec3(INFINITY), const glm::vec3& centroidsHi = glm::vec3(-INFINITY));

    /// Recomputes every node box from the primitives' current boxes, keeping
    /// the topology. `boxOf` is called for every primitive in the tree and
    /// must not leave one out.
    template <typename BoxFn>
    void Refit(BoxFn&& boxOf);

    void Clear();
    bool IsEmpty() const { return m_Nodes.empty(); }
    using NodeArray = LargeVector<Node, 64>; // sibling pairs share a cache line
    const NodeArray& GetNodes() const { return m_Nodes; }
    /// Primitive numbers in leaf order.
    const LargeVector<uint32_t>& GetPrimitiveIndices() const { return m_Indices; }
    std::size_t GetDepth() const;

    /// Primitive reference used while building: box corners, four-wide so
    /// that SIMD min/max work on them directly. The w lanes carry the
    /// primitive number (low 24 bits in `min[3]`, the rest in `max[3]`, both
    /// exact small floats), so that partitioning moves one 32-byte record
    /// per primitive and nothing else; the lanes are ignored as coordinates.
    struct Ref {
        float min[4];
        float max[4];
        static Ref Make(uint32_t primitive, const glm::vec3& lo, const glm::vec3& hi)
        {
            return Ref{{lo.x, lo.y, lo.z, float(primitive & 0xffffffu)}, {hi.x, hi.y, hi.z, float(primitive >> 24)}};
        }
        uint32_t Primitive() const { return uint32_t(min[3]) | (uint32_t(max[3]) << 24); }
    };

private:
    // The build streams primitive references through per-thread scratch
    // arrays (kept at their high-water mark, so repeated builds neither
    // allocate nor fault in fresh pages, and trees do not each keep one).
    static Ref* BeginBuild(uint32_t count, const glm::vec3& centroidsLo, const glm::vec3& centroidsHi);
    /// Folds the references [begin, end), just written, into the root's
    /// box, centroid range and (when estimated) bins or grid cells while
    /// they are hot.
    static void AbsorbRefs(uint32_t begin, uint32_t end);
    void FinishBuild(uint32_t used, uint32_t maxLeafSize);

    NodeArray m_Nodes;
    LargeVector<uint32_t> m_Indices;
};

template <typename BoxFn>
void Bvh::Build(uint32_t count, BoxFn&& boxOf, uint32_t maxLeafSize, const glm::vec3& centroidsLo,
                const glm::vec3& centroidsHi)
{
    Ref* refs = BeginBuild(count, centroidsLo, centroidsHi);
    constexpr uint32_t kChunk = 512; // 16 KiB of references: still in L1 when absorbed
    uint32_t used = 0;
    glm::vec3 lo, hi;
    for (uint32_t start = 0; start < count; start += kChunk) {
        const uint32_t chunkBegin = used, end = count - start > kChunk ? start + kChunk : count;
        for (uint32_t i = start; i < end; ++i) {
            if (boxOf(i, lo, hi))
                refs[used++] = Ref::Make(i, lo, hi);
        }
        AbsorbRefs(chunkBegin, used);
    }
    FinishBuild(used, maxLeafSize);
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
