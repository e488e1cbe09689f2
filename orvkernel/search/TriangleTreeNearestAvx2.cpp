// The ray walk compiled for AVX2: the eight boxes of a node in one test.
// Built with -mavx2 (never FMA: the triangle test must round as the
// reference scan does) and called only where the processor has AVX2.
#include <orvkernel/search/TriangleTreeWalk.h>

#ifdef ORV_HAVE_AVX2_WALK

#include <immintrin.h>

namespace orvcore {

namespace {

class BoxesByEight {
public:
    BoxesByEight(const glm::vec3& origin, const glm::vec3& inv)
        : m_Ox(_mm256_set1_ps(origin.x)), m_Oy(_mm256_set1_ps(origin.y)), m_Oz(_mm256_set1_ps(origin.z)),
          m_Ix(_mm256_set1_ps(inv.x)), m_Iy(_mm256_set1_ps(inv.y)), m_Iz(_mm256_set1_ps(inv.z))
    {
    }

    int Test(const TriangleTree::Node& node, int nearX, int nearY, int nearZ, float limit, float* tNear) const
    {
        const __m256 nx = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearX]), m_Ox), m_Ix);
        const __m256 fx = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearX ^ 1]), m_Ox), m_Ix);
        const __m256 ny = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearY]), m_Oy), m_Iy);
        const __m256 fy = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearY ^ 1]), m_Oy), m_Iy);
        const __m256 nz = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearZ]), m_Oz), m_Iz);
        const __m256 fz = _mm256_mul_ps(_mm256_sub_ps(_mm256_load_ps(node.bounds[nearZ ^ 1]), m_Oz), m_Iz);
        const __m256 tn = _mm256_max_ps(_mm256_max_ps(_mm256_setzero_ps(), nx), _mm256_max_ps(ny, nz));
        const __m256 tf = _mm256_min_ps(_mm256_min_ps(_mm256_set1_ps(limit), fx), _mm256_min_ps(fy, fz));
        _mm256_store_ps(tNear, tn);
        return _mm256_movemask_ps(_mm256_cmp_ps(tn, _mm256_mul_ps(tf, _mm256_set1_ps(kExitStretch)), _CMP_LE_OQ));
    }

private:
    __m256 m_Ox, m_Oy, m_Oz, m_Ix, m_Iy, m_Iz;
};

} // namespace

bool triangletree::NearestAvx2(const TriangleTree::Node* nodes, const TriangleTree::Packet* packets,
                               const glm::vec3& rootMin, const glm::vec3& rootMax, const glm::vec3& origin,
                               const glm::vec3& dir, float& bestT, uint32_t& bestPrimitive, bool acceptFirst)
{
    return WalkNearest<BoxesByEight>(nodes, packets, rootMin, rootMax, origin, dir, bestT, bestPrimitive,
                                     acceptFirst);
}

} // namespace orvcore

#endif
