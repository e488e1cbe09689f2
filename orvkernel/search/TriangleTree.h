#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcommon/LargePageAllocator.h>
#include <orvkernel/search/Bvh.h>

namespace orvcore {

/// The ray-walk form of a triangle list's `Bvh`: the binary tree collapsed
/// into nodes of up to eight children whose boxes are tested together, and
/// each leaf's triangles stored in packets of four, a corner and two edges
/// each, ready for one SIMD intersection test of the four. Made from the binary tree after every build or
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
    /// `count[k]` triangles in the packets from number `child[k]`; with 0, `child[k]` is a
    /// node number, or `kNone` for an empty lane (whose box is empty).
    static constexpr int kWidth = 8;
    struct alignas(64) Node {
        float bounds[6][kWidth];
        uint32_t child[kWidth];
        uint32_t count[kWidth];
    };
    static constexpr uint32_t kNone = 0xffffffffu;

    /// Up to four triangles of one leaf as the test reads them, one per
    /// lane: corner a and the edges b - a, c - a by axis, and each lane's
    /// triangle number (`kNone` for an unused lane, whose zero edges no ray
    /// hits), so that a hit needs no look-up in another array.
    /// A leaf of `count` triangles takes (count + 3) / 4 packets in a row,
    /// and its lane in the node holds the first packet's number.
    static constexpr int kLanes = 4;
    struct alignas(32) Packet {
        float a[3][kLanes];
        float e1[3][kLanes];
        float e2[3][kLanes];
        uint32_t primitive[kLanes];
    };

    /// Collapses `tree` and fills the packets: `corners(slot, xyz)` writes
    /// the corners of the triangle in leaf slot `slot` to `xyz[0..9)`
    /// (a, b, c). Plain floats rather than vectors: the copy of a million
    /// triangles must not bounce each corner through the stack.
    template <typename CornerFn>
    void Build(const Bvh& tree, CornerFn&& corners);
    void Clear();
    bool IsEmpty() const { return m_Nodes.empty(); }
    const LargeVector<Node, 64>& GetNodes() const { return m_Nodes; }

    /// Nearest hit of the ray (`direction` without a zero or denormal
    /// component, `origin` finite) with a ray parameter of at least 0.
    /// `bestT`/`bestPrimitive` carry the best so far (`kNone`: none) and
    /// are lowered on a better hit; `acceptFirst` says whether the first hit
    /// wins whatever its parameter. Returns false when the walk could not
    /// finish (a tree too deep for its stack), the caller then asks another
    /// way.
    bool Nearest(const glm::vec3& origin, const glm::vec3& direction, float& bestT, uint32_t& bestPrimitive,
                 bool acceptFirst) const;

private:
    /// A leaf met by the collapse: its slots, whose packets come next.
    struct LeafLane {
        uint32_t first, count;
    };
    /// Collapses the binary subtree at `binary` into a wide node and returns
    /// its number; numbers the packets of the leaves it meets from `packets`
    /// on (advanced past them) and lists those leaves in `leaves`.
    uint32_t Collapse(const Bvh::NodeArray& nodes, uint32_t binary, std::vector<LeafLane>& leaves, uint32_t& packets);

    LargeVector<Node, 64> m_Nodes;
    LargeVector<Packet, 64> m_Packets;
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
    std::vector<LeafLane> leaves;
    leaves.reserve(nodes.size() / 2 + 1);
    uint32_t packets = 0;
    Collapse(nodes, 0, leaves, packets);
    // Appended rather than resized: a resize would first fill the whole
    // array with zeros, a second pass over tens of megabytes.
    m_Packets.reserve(packets);
    const auto& primitives = tree.GetPrimitiveIndices();
    for (const LeafLane& leaf : leaves) {
        for (uint32_t base = 0; base < leaf.count; base += kLanes) {
            Packet p; // every member written below: no zero fill first
            for (uint32_t j = 0; j < uint32_t(kLanes); ++j) {
                float v[9] = {0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f};
                const bool used = base + j < leaf.count;
                if (used)
                    corners(std::size_t(leaf.first + base + j), v);
                p.primitive[j] = used ? primitives[leaf.first + base + j] : kNone;
                for (int a = 0; a < 3; ++a) {
                    p.a[a][j] = v[a];
                    p.e1[a][j] = v[3 + a] - v[a];
                    p.e2[a][j] = v[6 + a] - v[a];
                }
            }
            m_Packets.push_back(p);
        }
    }
}

} // namespace orvcore
