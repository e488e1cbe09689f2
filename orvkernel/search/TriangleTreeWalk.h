// The ray walk of the eight-wide triangle tree, shared by the builds of it
// for different instruction sets: only the test of a node's eight boxes
// differs between them. Everything here has internal linkage, so that each
// translation unit keeps the code compiled for its own instruction set.
#pragma once

#include <orvkernel/search/TriangleTree.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <glm/geometric.hpp>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define ORV_TRIANGLE_TREE_SSE 1
#endif

namespace orvcore {

namespace triangletree {

/// The walk on processors with AVX2 (built in its own translation unit
/// when the compiler targets x86-64); same arguments as `WalkNearest`.
bool NearestAvx2(const TriangleTree::Node* nodes, const TriangleTree::Packet* packets, const glm::vec3& rootMin,
                 const glm::vec3& rootMax, const glm::vec3& origin, const glm::vec3& dir, float& bestT,
                 uint32_t& bestPrimitive, bool acceptFirst);

} // namespace triangletree

namespace {

// Two-sided ray/triangle test of the four lanes of a packet; returns the
// mask of lanes hit at t >= 0 with their ray parameters in `t`. Each lane
// does the same operations in the same order as the reference scan's test,
// so both round alike; a lane that test would reject for a tiny
// determinant, a barycentric coordinate outside [0, 1] or a negative
// parameter is rejected here, NaN comparisons included.
inline unsigned HitPacket(const glm::vec3& origin, const glm::vec3& dir, const TriangleTree::Packet& p, float* t)
{
#ifdef ORV_TRIANGLE_TREE_SSE
    const __m128 dx = _mm_set1_ps(dir.x), dy = _mm_set1_ps(dir.y), dz = _mm_set1_ps(dir.z);
    const __m128 e1x = _mm_load_ps(p.e1[0]), e1y = _mm_load_ps(p.e1[1]), e1z = _mm_load_ps(p.e1[2]);
    const __m128 e2x = _mm_load_ps(p.e2[0]), e2y = _mm_load_ps(p.e2[1]), e2z = _mm_load_ps(p.e2[2]);
    // p = cross(dir, e2), det = dot(e1, p)
    const __m128 px = _mm_sub_ps(_mm_mul_ps(dy, e2z), _mm_mul_ps(e2y, dz));
    const __m128 py = _mm_sub_ps(_mm_mul_ps(dz, e2x), _mm_mul_ps(e2z, dx));
    const __m128 pz = _mm_sub_ps(_mm_mul_ps(dx, e2y), _mm_mul_ps(e2x, dy));
    const __m128 det = _mm_add_ps(_mm_add_ps(_mm_mul_ps(e1x, px), _mm_mul_ps(e1y, py)), _mm_mul_ps(e1z, pz));
    const __m128 absDet = _mm_andnot_ps(_mm_set1_ps(-0.0f), det);
    __m128 keep = _mm_cmpnlt_ps(absDet, _mm_set1_ps(1e-20f));
    const __m128 inv = _mm_div_ps(_mm_set1_ps(1.0f), det);
    // s = origin - a, u = dot(s, p) / det
    const __m128 sx = _mm_sub_ps(_mm_set1_ps(origin.x), _mm_load_ps(p.a[0]));
    const __m128 sy = _mm_sub_ps(_mm_set1_ps(origin.y), _mm_load_ps(p.a[1]));
    const __m128 sz = _mm_sub_ps(_mm_set1_ps(origin.z), _mm_load_ps(p.a[2]));
    const __m128 u =
        _mm_mul_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(sx, px), _mm_mul_ps(sy, py)), _mm_mul_ps(sz, pz)), inv);
    const __m128 zero = _mm_setzero_ps(), one = _mm_set1_ps(1.0f);
    keep = _mm_and_ps(keep, _mm_and_ps(_mm_cmpnlt_ps(u, zero), _mm_cmpngt_ps(u, one)));
    // q = cross(s, e1), v = dot(dir, q) / det, t = dot(e2, q) / det
    const __m128 qx = _mm_sub_ps(_mm_mul_ps(sy, e1z), _mm_mul_ps(e1y, sz));
    const __m128 qy = _mm_sub_ps(_mm_mul_ps(sz, e1x), _mm_mul_ps(e1z, sx));
    const __m128 qz = _mm_sub_ps(_mm_mul_ps(sx, e1y), _mm_mul_ps(e1x, sy));
    const __m128 v =
        _mm_mul_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(dx, qx), _mm_mul_ps(dy, qy)), _mm_mul_ps(dz, qz)), inv);
    keep = _mm_and_ps(keep, _mm_and_ps(_mm_cmpnlt_ps(v, zero), _mm_cmpngt_ps(_mm_add_ps(u, v), one)));
    const __m128 tt =
        _mm_mul_ps(_mm_add_ps(_mm_add_ps(_mm_mul_ps(e2x, qx), _mm_mul_ps(e2y, qy)), _mm_mul_ps(e2z, qz)), inv);
    keep = _mm_and_ps(keep, _mm_cmpge_ps(tt, zero));
    _mm_storeu_ps(t, tt);
    return unsigned(_mm_movemask_ps(keep));
#else
    unsigned mask = 0;
    for (int j = 0; j < TriangleTree::kLanes; ++j) {
        const glm::vec3 e1(p.e1[0][j], p.e1[1][j], p.e1[2][j]), e2(p.e2[0][j], p.e2[1][j], p.e2[2][j]);
        const glm::vec3 pv = glm::cross(dir, e2);
        const float det = glm::dot(e1, pv);
        if (std::fabs(det) < 1e-20f)
            continue;
        const float inv = 1.0f / det;
        const glm::vec3 s = origin - glm::vec3(p.a[0][j], p.a[1][j], p.a[2][j]);
        const float u = glm::dot(s, pv) * inv;
        if (u < 0.0f || u > 1.0f)
            continue;
        const glm::vec3 q = glm::cross(s, e1);
        const float v = glm::dot(dir, q) * inv;
        if (v < 0.0f || u + v > 1.0f)
            continue;
        t[j] = glm::dot(e2, q) * inv;
        if (t[j] >= 0.0f)
            mask |= 1u << j;
    }
    return mask;
#endif
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
inline void Prefetch(const Entry& e, const TriangleTree::Node* nodes, const TriangleTree::Packet* packets)
{
#ifdef ORV_TRIANGLE_TREE_SSE
    const char* p = e.count > 0 ? reinterpret_cast<const char*>(packets + e.child)
                                : reinterpret_cast<const char*>(nodes + e.child);
    const std::size_t bytes = e.count > 0 ? (e.count + TriangleTree::kLanes - 1) / TriangleTree::kLanes *
                                                sizeof(TriangleTree::Packet)
                                          : sizeof(TriangleTree::Node);
    for (std::size_t line = 0; line < bytes; line += 64)
        _mm_prefetch(p + line, _MM_HINT_T0);
#else
    (void)e;
    (void)nodes;
    (void)packets;
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

// The eight boxes of a node against the ray, four lanes at a time (SSE), or
// one by one: a mask of the children entered before `limit`, with their
// entry parameters in `tNear`.
class BoxesByFour {
public:
    BoxesByFour(const glm::vec3& origin, const glm::vec3& inv) : m_Origin(origin), m_Inv(inv)
    {
#ifdef ORV_TRIANGLE_TREE_SSE
        m_O[0] = _mm_set1_ps(origin.x);
        m_O[1] = _mm_set1_ps(origin.y);
        m_O[2] = _mm_set1_ps(origin.z);
        m_I[0] = _mm_set1_ps(inv.x);
        m_I[1] = _mm_set1_ps(inv.y);
        m_I[2] = _mm_set1_ps(inv.z);
#endif
    }

    int Test(const TriangleTree::Node& node, int nearX, int nearY, int nearZ, float limit, float* tNear) const
    {
        int hitMask = 0;
#ifdef ORV_TRIANGLE_TREE_SSE
        const __m128 lim = _mm_set1_ps(limit), stretch = _mm_set1_ps(kExitStretch);
        for (int half = 0; half < TriangleTree::kWidth; half += 4) {
            const __m128 nx = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearX] + half), m_O[0]), m_I[0]);
            const __m128 fx = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearX ^ 1] + half), m_O[0]), m_I[0]);
            const __m128 ny = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearY] + half), m_O[1]), m_I[1]);
            const __m128 fy = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearY ^ 1] + half), m_O[1]), m_I[1]);
            const __m128 nz = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearZ] + half), m_O[2]), m_I[2]);
            const __m128 fz = _mm_mul_ps(_mm_sub_ps(_mm_load_ps(node.bounds[nearZ ^ 1] + half), m_O[2]), m_I[2]);
            const __m128 tn = _mm_max_ps(_mm_max_ps(_mm_setzero_ps(), nx), _mm_max_ps(ny, nz));
            const __m128 tf = _mm_min_ps(_mm_min_ps(lim, fx), _mm_min_ps(fy, fz));
            hitMask |= _mm_movemask_ps(_mm_cmple_ps(tn, _mm_mul_ps(tf, stretch))) << half;
            _mm_store_ps(tNear + half, tn);
        }
#else
        for (int k = 0; k < TriangleTree::kWidth; ++k) {
            const float n0 = (node.bounds[nearX][k] - m_Origin.x) * m_Inv.x;
            const float f0 = (node.bounds[nearX ^ 1][k] - m_Origin.x) * m_Inv.x;
            const float n1 = (node.bounds[nearY][k] - m_Origin.y) * m_Inv.y;
            const float f1 = (node.bounds[nearY ^ 1][k] - m_Origin.y) * m_Inv.y;
            const float n2 = (node.bounds[nearZ][k] - m_Origin.z) * m_Inv.z;
            const float f2 = (node.bounds[nearZ ^ 1][k] - m_Origin.z) * m_Inv.z;
            tNear[k] = std::max(std::max(0.0f, n0), std::max(n1, n2));
            const float tFar = std::min(std::min(limit, f0), std::min(f1, f2));
            hitMask |= tNear[k] <= tFar * kExitStretch ? 1 << k : 0;
        }
#endif
        return hitMask;
    }

private:
    glm::vec3 m_Origin, m_Inv;
#ifdef ORV_TRIANGLE_TREE_SSE
    __m128 m_O[3], m_I[3];
#endif
};

// Nearest hit of the ray in the tree whose nodes and packets are given
// (see `TriangleTree::Nearest`), the boxes of each node tested by `Boxes`.
template <typename Boxes>
bool WalkNearest(const TriangleTree::Node* nodes, const TriangleTree::Packet* packets, const glm::vec3& rootMin,
                 const glm::vec3& rootMax, const glm::vec3& origin, const glm::vec3& dir, float& bestT,
                 uint32_t& bestPrimitive, bool acceptFirst)
{
    const glm::vec3 inv = 1.0f / dir;
    // The root box, as the binary walk tested it.
    {
        const float x1 = (rootMin.x - origin.x) * inv.x, x2 = (rootMax.x - origin.x) * inv.x;
        const float y1 = (rootMin.y - origin.y) * inv.y, y2 = (rootMax.y - origin.y) * inv.y;
        const float z1 = (rootMin.z - origin.z) * inv.z, z2 = (rootMax.z - origin.z) * inv.z;
        const float tNear = std::max(std::max(0.0f, std::min(x1, x2)), std::max(std::min(y1, y2), std::min(z1, z2)));
        const float tFar = std::min(std::min(HitLimit(bestT), std::max(x1, x2)), std::min(std::max(y1, y2), std::max(z1, z2)));
        if (!(tNear <= tFar * kExitStretch))
            return true;
    }
    // The near plane of each axis is the box's minimum when the ray runs
    // towards +, its maximum otherwise.
    const int nearX = inv.x >= 0.0f ? 0 : 1, nearY = inv.y >= 0.0f ? 2 : 3, nearZ = inv.z >= 0.0f ? 4 : 5;

    struct Entry {
        uint32_t child;
        uint32_t count;
        float t;
    };
    constexpr int kStack = 192;
    Entry stack[kStack];
    int top = 0;
    Entry current{0u, 0u, 0.0f};

    const Boxes boxes(origin, inv);
    for (;;) {
        if (current.count > 0) {
            const uint32_t end = current.child + (current.count + TriangleTree::kLanes - 1) / TriangleTree::kLanes;
            for (uint32_t k = current.child; k < end; ++k) {
                alignas(16) float t[TriangleTree::kLanes];
                for (unsigned mask = HitPacket(origin, dir, packets[k], t); mask != 0; mask &= mask - 1) {
                    const int j = LowestBit(mask);
                    const uint32_t primitive = packets[k].primitive[j];
                    const bool better = bestPrimitive == TriangleTree::kNone ? (acceptFirst || t[j] < bestT)
                                                               : (t[j] < bestT || (t[j] == bestT && primitive < bestPrimitive));
                    if (better) {
                        bestT = t[j];
                        bestPrimitive = primitive;
                    }
                }
            }
        } else {
            const TriangleTree::Node& node = nodes[current.child];
            const float limit = HitLimit(bestT);
            alignas(32) float tNear[TriangleTree::kWidth];
            const int hitMask = boxes.Test(node, nearX, nearY, nearZ, limit, tNear);
            // The children entered, nearest first (insertion sort of <= 4),
            // visiting only the lanes that were hit.
            Entry hit[TriangleTree::kWidth];
            int n = 0;
            for (unsigned mask = unsigned(hitMask); mask != 0; mask &= mask - 1) {
                const int k = LowestBit(mask);
                const Entry e{node.child[k], node.count[k], tNear[k]};
                Prefetch(e, nodes, packets);
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

} // namespace

} // namespace orvcore
