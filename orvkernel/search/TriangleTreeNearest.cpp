// The ray walk of the eight-wide tree: nearest hit first, children entered
// nearest first, the boxes of a node tested together.
#include <orvkernel/search/TriangleTree.h>

#include <algorithm>
#include <cmath>

#include <glm/geometric.hpp>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define ORV_TRIANGLE_TREE_SSE 1
#endif

namespace orvcore {

namespace {

// Two-sided ray/triangle test on a corner and two edges; true with the ray
// parameter on a hit at t >= 0. The same operations in the same order as
// the reference scan's test, so both round alike.
inline bool HitTriangle(const glm::vec3& origin, const glm::vec3& dir, const TriangleTree::Triangle& tri, float& t)
{
    const glm::vec3 p = glm::cross(dir, tri.e2);
    const float det = glm::dot(tri.e1, p);
    if (std::fabs(det) < 1e-20f)
        return false;
    const float inv = 1.0f / det;
    const glm::vec3 s = origin - tri.a;
    const float u = glm::dot(s, p) * inv;
    if (u < 0.0f || u > 1.0f)
        return false;
    const glm::vec3 q = glm::cross(s, tri.e1);
    const float v = glm::dot(dir, q) * inv;
    if (v < 0.0f || u + v > 1.0f)
        return false;
    t = glm::dot(tri.e2, q) * inv;
    return t >= 0.0f;
}

// How far along the ray boxes are still worth entering once a hit is known:
// a little past it, because a box's entry parameter and a triangle's hit
// parameter round differently (see `PrimitiveSearch`).
inline float HitLimit(float t) { return t + t * 1e-5f; }

// A ray through a box's edge or corner (a vertex shared by triangles whose
// boxes meet there) enters and leaves at the same parameter, and rounding
// may put the exit first; the triangle test, rounding too, may also accept
// a ray that passes a hair outside the triangle. Exits are stretched by the
// same relative margin as the hit limit before the comparison, so that such
// boxes are still entered and the walk sees every triangle the scan hits.
constexpr float kExitStretch = 1.0f + 1e-5f;

// Every child the ray enters is fetched as soon as it is known: its node's
// two lines, or its triangles. The walk is bound by these loads, and
// starting them together overlaps their waits.
template <typename Entry>
inline void Prefetch(const Entry& e, const TriangleTree::Node* nodes, const TriangleTree::Triangle* tris)
{
#ifdef ORV_TRIANGLE_TREE_SSE
    const char* p = e.count > 0 ? reinterpret_cast<const char*>(tris + e.child)
                                : reinterpret_cast<const char*>(nodes + e.child);
    const std::size_t bytes = e.count > 0 ? e.count * sizeof(TriangleTree::Triangle) : sizeof(TriangleTree::Node);
    for (std::size_t line = 0; line < bytes; line += 64)
        _mm_prefetch(p + line, _MM_HINT_T0);
#else
    (void)e;
    (void)nodes;
    (void)tris;
#endif
}

// The number of the lowest set bit of a non-zero mask.
inline int LowestBit(unsigned mask)
{
#if defined(__GNUC__) || defined(__clang__)
    return __builtin_ctz(mask);
#else
    int k = 0;
    while (!(mask & 1u)) {
        mask >>= 1;
        ++k;
    }
    return k;
#endif
}

} // namespace

bool TriangleTree::Nearest(const glm::vec3& origin, const glm::vec3& dir, const uint32_t* primitives, float& bestT,
                           uint32_t& bestSlot, bool acceptFirst) const
{
    if (m_Nodes.empty())
        return true;
    const glm::vec3 inv = 1.0f / dir;
    // The root box, as the binary walk tested it.
    {
        const float x1 = (m_RootMin.x - origin.x) * inv.x, x2 = (m_RootMax.x - origin.x) * inv.x;
        const float y1 = (m_RootMin.y - origin.y) * inv.y, y2 = (m_RootMax.y - origin.y) * inv.y;
        const float z1 = (m_RootMin.z - origin.z) * inv.z, z2 = (m_RootMax.z - origin.z) * inv.z;
        const float tNear = std::max(std::max(0.0f, std::min(x1, x2)), std::max(std::min(y1, y2), std::min(z1, z2)));
        const float tFar = std::min(std::min(HitLimit(bestT), std::max(x1, x2)), std::min(std::max(y1, y2), std::max(z1, z2)));
        if (!(tNear <= tFar * kExitStretch))
            return true;
    }
    // The near plane of each axis is the box's minimum when the ray runs
    // towards +, its maximum otherwise.
    const int nearX = inv.x >= 0.0f ? 0 : 1, nearY = inv.y >= 0.0f ? 2 : 3, nearZ = inv.z >= 0.0f ? 4 : 5;
    const Node* nodes = m_Nodes.data();
    const Triangle* tris = m_Triangles.data();

    struct Entry {
        uint32_t child;
        uint32_t count;
        float t;
    };
    constexpr int kStack = 192;
    Entry stack[kStack];
    int top = 0;
    Entry current{0u, 0u, 0.0f};

#ifdef ORV_TRIANGLE_TREE_SSE
    const __m128 ox = _mm_set1_ps(origin.x), oy = _mm_set1_ps(origin.y), oz = _mm_set1_ps(origin.z);
    const __m128 ix = _mm_set1_ps(inv.x), iy = _mm_set1_ps(inv.y), iz = _mm_set1_ps(inv.z);
#endif
    for (;;) {
        if (current.count > 0) {
            for (uint32_t k = current.child, end = current.child + current.count; k < end; ++k) {
                float t = 0.0f;
                if (!HitTriangle(origin, dir, tris[k], t))
                    continue;
                const bool better = bestSlot == kNone
                                        ? (acceptFirst || t < bestT)
                                        : (t < bestT || (t == bestT && primitives[k] < primitives[bestSlot]));
                if (better) {
                    bestT = t;
                    bestSlot = k;
                }
            }
        } else {
            const Node& node = nodes[current.child];
            const float limit = HitLimit(bestT);
            alignas(16) float tNear[TriangleTree::kWidth];
            int hitMask = 0;
#ifdef ORV_TRIANGLE_TREE_SSE
            const __m128 lim = _mm_set1_ps(limit), stretch = _mm_set1_ps(kExitStretch);
            for (int half = 0; half < TriangleTree::kWidth; half += 4) {
                const __m128 nx = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearX] + half), ox), ix);
                const __m128 fx = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearX ^ 1] + half), ox), ix);
                const __m128 ny = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearY] + half), oy), iy);
                const __m128 fy = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearY ^ 1] + half), oy), iy);
                const __m128 nz = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearZ] + half), oz), iz);
                const __m128 fz = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearZ ^ 1] + half), oz), iz);
                const __m128 tn = _mm_max_ps(_mm_max_ps(_mm_setzero_ps(), nx), _mm_max_ps(ny, nz));
                const __m128 tf = _mm_min_ps(_mm_min_ps(lim, fx), _mm_min_ps(fy, fz));
                hitMask |= _mm_movemask_ps(_mm_cmple_ps(tn, _mm_mul_ps(tf, stretch))) << half;
                _mm_store_ps(tNear + half, tn);
            }
#else
            for (int k = 0; k < TriangleTree::kWidth; ++k) {
                const float n0 = (node.bounds[nearX][k] - origin.x) * inv.x;
                const float f0 = (node.bounds[nearX ^ 1][k] - origin.x) * inv.x;
                const float n1 = (node.bounds[nearY][k] - origin.y) * inv.y;
                const float f1 = (node.bounds[nearY ^ 1][k] - origin.y) * inv.y;
                const float n2 = (node.bounds[nearZ][k] - origin.z) * inv.z;
                const float f2 = (node.bounds[nearZ ^ 1][k] - origin.z) * inv.z;
                tNear[k] = std::max(std::max(0.0f, n0), std::max(n1, n2));
                const float tFar = std::min(std::min(limit, f0), std::min(f1, f2));
                hitMask |= tNear[k] <= tFar * kExitStretch ? 1 << k : 0;
            }
#endif
            // The children entered, nearest first (insertion sort of <= 4),
            // visiting only the lanes that were hit.
            Entry hit[TriangleTree::kWidth];
            int n = 0;
            for (unsigned mask = unsigned(hitMask); mask != 0; mask &= mask - 1) {
                const int k = LowestBit(mask);
                const Entry e{node.child[k], node.count[k], tNear[k]};
                Prefetch(e, nodes, tris);
                int j = n++;
                while (j > 0 && hit[j - 1].t > e.t) {
                    hit[j] = hit[j - 1];
                    --j;
                }
                hit[j] = e;
            }
            if (n > 0) {
                if (top + n > kStack)
                    return false; // cannot happen for trees of sane depth
                for (int k = n - 1; k > 0; --k)
                    stack[top++] = hit[k];
                current = hit[0];
                continue;
            }
        }
        // Next: the nearest pending child still in front of the best hit.
        for (;;) {
            if (top == 0)
                return true;
            current = stack[--top];
            if (current.t <= HitLimit(bestT))
                break;
        }
    }
}

} // namespace orvcore
