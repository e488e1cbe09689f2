// The ray walk of the eight-wide tree: nearest hit first, children entered
// nearest first, the boxes of a node tested together; on processors with
// AVX2 all eight at once.
#include <orvkernel/search/TriangleTreeWalk.h>

namespace orvcore {

bool TriangleTree::Nearest(const glm::vec3& origin, const glm::vec3& dir, float& bestT, uint32_t& bestPrimitive,
                           bool acceptFirst) const
{
    if (m_Nodes.empty())
        return true;
#ifdef ORV_HAVE_AVX2_WALK
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if (avx2)
        return triangletree::NearestAvx2(m_Nodes.data(), m_Packets.data(), m_RootMin, m_RootMax, origin, dir, bestT,
                                         bestPrimitive, acceptFirst);
#endif
    return WalkNearest<BoxesByFour>(m_Nodes.data(), m_Packets.data(), m_RootMin, m_RootMax, origin, dir, bestT,
                                    bestPrimitive, acceptFirst);
}

} // namespace orvcore
