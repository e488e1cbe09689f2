#pragma once

// Pieces shared by the files that build a `Bvh` (Bvh.cpp: the build's
// entry points and scratch; BvhBinned.cpp: binned and midpoint splits;
// BvhGrid.cpp: the grid that splits the top of large trees). Not part of the
// library's interface.

#include <orvkernel/search/Bvh.h>

#include <algorithm>
#include <cfloat>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvcore::bvhbuild {

constexpr int kBins = 16;
// Nodes this small split at the middle of their centroid range instead of
// by binning: at the bottom of the tree the per-node cost of 16 bins
// outweighs what the heuristic gains.
constexpr uint32_t kSmallNode = 256;

// Four-float lane helpers: SSE where available, plain floats otherwise. The
// w lane is ignored.
#if defined(__SSE2__)
struct V4 {
    __m128 v;
    static V4 Load(const float* p) { return {_mm_loadu_ps(p)}; }
    static V4 Splat(float f) { return {_mm_set1_ps(f)}; }
    V4 Min(V4 o) const { return {_mm_min_ps(v, o.v)}; }
    V4 Max(V4 o) const { return {_mm_max_ps(v, o.v)}; }
    V4 operator+(V4 o) const { return {_mm_add_ps(v, o.v)}; }
    V4 operator-(V4 o) const { return {_mm_sub_ps(v, o.v)}; }
    V4 operator*(V4 o) const { return {_mm_mul_ps(v, o.v)}; }
    void Store(float* p) const { _mm_storeu_ps(p, v); }
};
#else
struct V4 {
    float v[4];
    static V4 Load(const float* p) { return {{p[0], p[1], p[2], p[3]}}; }
    static V4 Splat(float f) { return {{f, f, f, f}}; }
    V4 Min(V4 o) const { return {{std::min(v[0], o.v[0]), std::min(v[1], o.v[1]), std::min(v[2], o.v[2]), 0.0f}}; }
    V4 Max(V4 o) const { return {{std::max(v[0], o.v[0]), std::max(v[1], o.v[1]), std::max(v[2], o.v[2]), 0.0f}}; }
    V4 operator+(V4 o) const { return {{v[0] + o.v[0], v[1] + o.v[1], v[2] + o.v[2], 0.0f}}; }
    V4 operator-(V4 o) const { return {{v[0] - o.v[0], v[1] - o.v[1], v[2] - o.v[2], 0.0f}}; }
    V4 operator*(V4 o) const { return {{v[0] * o.v[0], v[1] * o.v[1], v[2] * o.v[2], 0.0f}}; }
    void Store(float* p) const { std::copy(v, v + 4, p); }
};
#endif

struct Box4 {
    V4 lo = V4::Splat(FLT_MAX);
    V4 hi = V4::Splat(-FLT_MAX);
    void Grow(V4 a, V4 b)
    {
        lo = lo.Min(a);
        hi = hi.Max(b);
    }
    void Grow(V4 p) { Grow(p, p); }
    void Grow(const Box4& o) { Grow(o.lo, o.hi); }
    float HalfArea() const
    {
        float e[4];
        (hi - lo).Store(e);
        if (e[0] < 0.0f)
            return 0.0f;
        return e[0] * e[1] + e[1] * e[2] + e[2] * e[0];
    }
};

struct Bins {
    Box4 box[kBins];
    uint32_t count[kBins];

    void Reset()
    {
        for (int b = 0; b < kBins; ++b) {
            box[b] = Box4();
            count[b] = 0;
        }
    }
};

// One node waiting to be split. Its primitives are binned already, along
// `axis` with bin = (centroid - binMin) * binScale: the parent's partition
// pass bins them for the children as it moves them, so that each level of
// the tree streams over the primitives once rather than twice.
struct Task {
    uint32_t node;
    uint32_t begin;
    uint32_t end;
    Box4 bounds;
    Box4 centroids;
    int axis;
    float binMin;
    float binScale;
    Bins bins;
};

// Picks the binning axis and scale for a centroid range and empties the bins.
void SetupBinning(Task& task, const Box4& centroids);

inline void AddToBins(Task& task, const Bvh::Ref& r)
{
    const V4 lo = V4::Load(r.min), hi = V4::Load(r.max);
    const float c = (r.min[task.axis] + r.max[task.axis]) * 0.5f;
    const int b = std::min(std::max(int((c - task.binMin) * task.binScale), 0), kBins - 1);
    task.bins.box[b].Grow(lo, hi);
    ++task.bins.count[b];
}

void SetNode(Bvh::Node& node, const Box4& bounds, uint32_t first, uint32_t count);

// Leaves' primitive numbers, written while their references are hot.
inline void WriteLeaf(const Bvh::Ref* refs, uint32_t* indices, uint32_t begin, uint32_t end)
{
    for (uint32_t k = begin; k < end; ++k)
        indices[k] = refs[k].Primitive();
}

/// Builds the subtree below `task.node` over the references [task.begin,
/// task.end), whose box is stored already and which are binned in
/// `task.bins`. `tasks` is the caller's reusable stack.
void BuildBinned(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, const Task& task,
                 std::vector<Task>& tasks, uint32_t maxLeafSize);

/// Splits a small node (its box already stored) at the middle of its
/// centroid range along the widest axis, down to leaves.
void BuildSmall(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, uint32_t nodeIndex, uint32_t begin,
                uint32_t end, const Box4& centroids, uint32_t maxLeafSize);

/// Builds the subtree below `node` over [begin, end): stores its box,
/// then bins it and splits by whichever of the above fits its size.
void BuildRange(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, uint32_t node, uint32_t begin,
                uint32_t end, const Box4& bounds, const Box4& centroids, std::vector<Task>& tasks,
                uint32_t maxLeafSize);

} // namespace orvcore::bvhbuild

namespace orvcore::bvhbuild {

/// Large builds first sort their references into the cells of a uniform
/// grid over the centroid range (counted while the references are made),
/// split the top of the tree by the surface area heuristic over whole
/// cells, and move each reference once into the range of the cluster of
/// cells that holds it. Each cluster, a few thousand references that stay
/// in the cache, is then built on its own. That replaces the top levels'
/// passes over every reference (one per level) with one move.
class CellGrid {
public:
    /// Below this many references the top levels are few and the grid
    /// does not pay for itself.
    static constexpr uint32_t kMinReferences = 16384;

    /// Lays the grid over `lo`..`hi` (the estimated centroid range) for
    /// `count` references; false (and inactive) when the range is unusable.
    bool Setup(uint32_t count, const float lo[3], const float hi[3]);
    bool IsActive() const { return m_Active; }
    void Deactivate() { m_Active = false; }
    /// Counts the references [begin, end) into their cells, and grows the
    /// root's box and doubled centroid range by them in the same pass.
    void Absorb(const Bvh::Ref* refs, uint32_t begin, uint32_t end, Box4& bounds, Box4& doubledCentroids);
    /// Builds the tree below node 0 (whose box is `bounds`) over the `count`
    /// references absorbed: they are moved into `sorted` in leaf order.
    void Build(Bvh::NodeArray& nodes, const Bvh::Ref* refs, Bvh::Ref* sorted, uint32_t count, uint32_t* indices,
               const Box4& bounds, uint32_t maxLeafSize);

private:
    struct Cell {
        Box4 bounds;
        Box4 doubledCentroids;
        uint32_t count;
    };
    uint32_t CellOf(V4 doubledCentroid) const;

    bool m_Active = false;
    float m_Lo2[4] = {0, 0, 0, 0};    // twice the grid's lower corner
    float m_Scale2[4] = {0, 0, 0, 0}; // cells per unit of doubled centroid
    float m_Last[4] = {0, 0, 0, 0};   // the last cell number on each axis
    uint32_t m_Dims[3] = {1, 1, 1};
    std::vector<Cell> m_Cells;
    LargeVector<uint32_t> m_CellOf; // each reference's cell
    std::vector<uint32_t> m_Next;   // where each cell's next reference goes
    std::vector<uint32_t> m_Occupied;
    std::vector<uint8_t> m_Side;
    std::vector<Task> m_Tasks;
};

} // namespace orvcore::bvhbuild
