#include <orvkernel/search/TriangleTree.h>

#include <algorithm>
#include <cmath>

namespace orvcore {

namespace {

float HalfArea(const Bvh::Node& n)
{
    const glm::vec3 d = n.max - n.min;
    return d.x * d.y + d.y * d.z + d.z * d.x;
}

} // namespace

void TriangleTree::Clear()
{
    m_Nodes.clear();
    m_Packets.clear();
}

uint32_t TriangleTree::Collapse(const Bvh::NodeArray& nodes, uint32_t binary, std::vector<LeafLane>& leaves,
                                uint32_t& packets)
{
    // Up to eight descendants of the binary node: its children, then the
    // inner one of largest surface opened in place of itself, and so on.
    // They stay in left-to-right order, so that the leaves are met in the
    // order of their slots and the packets fill front to back.
    uint32_t picked[kWidth];
    int n = 0;
    if (nodes[binary].IsLeaf()) {
        picked[n++] = binary;
    } else {
        picked[n++] = nodes[binary].first;
        picked[n++] = nodes[binary].first + 1;
    }
    while (n < kWidth) {
        int open = -1;
        float area = -1.0f;
        for (int k = 0; k < n; ++k) {
            const Bvh::Node& c = nodes[picked[k]];
            if (!c.IsLeaf() && HalfArea(c) > area) {
                area = HalfArea(c);
                open = k;
            }
        }
        if (open < 0)
            break;
        const uint32_t first = nodes[picked[open]].first;
        for (int k = n; k > open + 1; --k)
            picked[k] = picked[k - 1];
        picked[open] = first;
        picked[open + 1] = first + 1;
        ++n;
    }
#ifdef ORV_TRIANGLE_TREE_SSE
    // The binary nodes are read once, in an order that jumps over whole
    // subtrees: the children pairs that the picked nodes open next are
    // fetched now, while the first of them is collapsed.
    for (int k = 0; k < n; ++k) {
        const Bvh::Node& c = nodes[picked[k]];
        if (!c.IsLeaf())
            _mm_prefetch(reinterpret_cast<const char*>(&nodes[c.first]), _MM_HINT_T0);
    }
#endif
    const uint32_t index = static_cast<uint32_t>(m_Nodes.size());
    m_Nodes.emplace_back();
    for (int k = 0; k < kWidth; ++k) {
        Node& node = m_Nodes[index]; // the array may have moved
        if (k >= n) {
            node.bounds[0][k] = node.bounds[2][k] = node.bounds[4][k] = INFINITY;
            node.bounds[1][k] = node.bounds[3][k] = node.bounds[5][k] = -INFINITY;
            node.child[k] = kNone;
            node.count[k] = 0;
            continue;
        }
        const Bvh::Node& c = nodes[picked[k]];
        for (int a = 0; a < 3; ++a) {
            node.bounds[2 * a][k] = c.min[a];
            node.bounds[2 * a + 1][k] = c.max[a];
        }
        node.count[k] = c.count;
        if (c.IsLeaf()) {
            node.child[k] = packets;
            packets += (c.count + kLanes - 1) / kLanes;
            leaves.push_back({c.first, c.count});
        } else {
            const uint32_t child = Collapse(nodes, picked[k], leaves, packets);
            m_Nodes[index].child[k] = child;
        }
    }
    return index;
}

} // namespace orvcore
