#pragma once

#include <cstddef>
#include <cstdint>

#include <glm/vec3.hpp>

#include <orvcommon/LargePageAllocator.h>
#include <orvkernel/search/Bvh.h>

namespace orvcore {

/// The ray-walk form of a triangle list's `Bvh`: the binary tree collapsed
/// into nodes of up to eight children whose boxes are tested together, and
/// the triangles stored in leaf order as a corner and two edges, ready for
/// the intersection test. Made from the binary tree after every build or
/// refit; the binary tree stays the one that is built and refitted.
///
/// `Nearest` gives the same answer as testing every triangle of the tree:
/// the smallest ray parameter, ties to the smaller triangle number.
class TriangleTree {
public:
    /// A node: the children's boxes in lanes (min x, max x, min y, max y,
    /// min z, max z; eight children each), so that one SIMD operation tests
    /// a plane of four. Eight children rather than four make the tree about
    /// two levels shallower on meshes of 50,000 triangles: a ray walk waits on
    /// one memory load per level below the cached top, and the wider node
    /// costs only a second box test. A child with `count[k] > 0` is a leaf of
    /// `count[k]` triangle slots from `child[k]`; with 0, `child[k]` is a
    /// node number, or `kNone` for an empty lane (whose box is empty).
    static constexpr int kWidth = 8;
    struct alignas(64) Node {
        float bounds[6][kWidth];
        uint32_t child[kWidth];
        uint32_t count[kWidth];
    };
    static constexpr uint32_t kNone = 0xffffffffu;

    /// A triangle as the test reads it: corner a and the edges b - a, c - a.
    struct Triangle {
        glm::vec3 a, e1, e2;
    };

    /// Collapses `tree` and fills the triangle slots: `corners(slot, xyz)`
    /// writes the corners of the triangle in leaf slot `slot` to `xyz[0..9)`
    /// (a, b, c). Plain floats rather than vectors: the copy of a million
    /// triangles must not bounce each corner through the stack.
    template <typename CornerFn>
    void Build(const Bvh& tree, CornerFn&& corners);
    void Clear();
    bool IsEmpty() const { return m_Nodes.empty(); }
    const LargeVector<Node, 64>& GetNodes() const { return m_Nodes; }

    /// Nearest hit of the ray (`direction` without a zero or denormal
    /// component, `origin` finite) with a ray parameter of at least 0.
    /// `bestT`/`bestSlot` carry the best so far (`kNone`: none) and are
    /// lowered on a better hit; `acceptFirst` says whether the first hit
    /// wins whatever its parameter. Returns false when the walk could not
    /// finish (a tree too deep for its stack), the caller then asks another
    /// way.
    bool Nearest(const glm::vec3& origin, const glm::vec3& direction, const uint32_t* primitives, float& bestT,
                 uint32_t& bestSlot, bool acceptFirst) const;

private:
    uint32_t Collapse(const Bvh::NodeArray& nodes, uint32_t binary);

    LargeVector<Node, 64> m_Nodes;
    LargeVector<Triangle> m_Triangles;
    glm::vec3 m_RootMin{0.0f}, m_RootMax{0.0f};
};

template <typename CornerFn>
void TriangleTree::Build(const Bvh& tree, CornerFn&& corners)
{
    Clear();
    if (tree.IsEmpty())
        return;
    const Bvh::NodeArray& nodes = tree.GetNodes();
    m_RootMin = nodes[0].min;
    m_RootMax = nodes[0].max;
    // Every wide node stands for a distinct inner binary node, of
    // which there are fewer than half the binary nodes: no reallocation.
    m_Nodes.reserve(nodes.size() / 2 + 1);
    Collapse(nodes, 0);
    const std::size_t slots = tree.GetPrimitiveIndices().size();
    // Appended rather than resized: a resize would first fill the whole
    // array with zeros, a second pass over tens of megabytes.
    m_Triangles.reserve(slots);
    for (std::size_t k = 0; k < slots; ++k) {
        float v[9];
        corners(k, v);
        Triangle& t = m_Triangles.emplace_back();
        t.a = glm::vec3(v[0], v[1], v[2]);
        t.e1 = glm::vec3(v[3] - v[0], v[4] - v[1], v[5] - v[2]);
        t.e2 = glm::vec3(v[6] - v[0], v[7] - v[1], v[8] - v[2]);
    }
}

} // namespace orvcore
