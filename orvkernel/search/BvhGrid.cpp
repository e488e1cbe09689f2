#include <orvkernel/search/BvhBuildParts.h>

#include <cmath>

namespace orvcore::bvhbuild {

namespace {

// About this many references per cell: cells far smaller than a cluster,
// so that the top splits lose little to being restricted to cell borders.
constexpr uint32_t kReferencesPerCell = 32;
constexpr uint32_t kMaxCells = 32768;
// The top splits stop at clusters of at most this many references (or a
// single cell), where the midpoint splits take over as they do below this
// size everywhere. Stopping at 1,024 and binning the clusters costs a
// tenth more time and saves about 1 % of the nodes a ray visits.
constexpr uint32_t kCluster = 256;
// The top splits are cheap (a pass over cells, not references), so they
// weigh more planes than the binned splits below.
constexpr int kCellBins = 32;

} // namespace

bool CellGrid::Setup(uint32_t count, const float lo[3], const float hi[3])
{
    m_Active = false;
    double ext[3], logSum = 0.0;
    int axes = 0;
    for (int a = 0; a < 3; ++a) {
        ext[a] = double(hi[a]) - double(lo[a]);
        if (!std::isfinite(lo[a]) || !std::isfinite(hi[a]) || !(ext[a] >= 0.0))
            return false;
        if (ext[a] > 0.0) {
            logSum += std::log(ext[a]);
            ++axes;
        }
    }
    if (axes == 0)
        return false; // every centroid in one point: the grid cannot sort them
    const double target = double(std::min(std::max(count / kReferencesPerCell, 64u), kMaxCells));
    // Cubic cells where the range allows (edge s with s^axes * target equal
    // to the range's volume), widened until the cell count fits the target.
    double s = std::exp((logSum - std::log(target)) / double(axes));
    bool fits = false;
    for (int attempt = 0; attempt < 256 && !fits; ++attempt, s *= 1.25) {
        double cells = 1.0;
        for (int a = 0; a < 3; ++a) {
            m_Dims[a] = ext[a] > 0.0 ? uint32_t(std::min(std::max(std::floor(ext[a] / s), 1.0), 65536.0)) : 1u;
            cells *= double(m_Dims[a]);
        }
        fits = cells <= target;
    }
    if (!fits)
        return false;
    for (int a = 0; a < 3; ++a) {
        m_Lo2[a] = 2.0f * lo[a];
        if (!std::isfinite(m_Lo2[a]))
            return false; // doubled centroids would overflow
        const double scale = ext[a] > 0.0 ? double(m_Dims[a]) / (2.0 * ext[a]) : 0.0;
        m_Scale2[a] = std::isfinite(float(scale)) ? float(scale) : 0.0f;
        m_Last[a] = float(m_Dims[a] - 1);
    }
    m_Cells.assign(std::size_t(m_Dims[0]) * m_Dims[1] * m_Dims[2], Cell{Box4(), Box4(), 0u});
    if (m_CellOf.size() < count)
        m_CellOf.resize(count);
    m_Active = true;
    return true;
}

inline uint32_t CellGrid::CellOf(V4 doubledCentroid) const
{
    // Clamped to the grid before the conversion, so a centroid outside the
    // estimated range (or a NaN from an overflowed product) lands in a border
    // cell: only the tree's quality depends on the estimate.
    int c[4];
#if defined(__SSE2__)
    __m128 f = _mm_mul_ps(_mm_sub_ps(doubledCentroid.v, _mm_loadu_ps(m_Lo2)), _mm_loadu_ps(m_Scale2));
    f = _mm_max_ps(f, _mm_setzero_ps()); // a NaN in f gives 0
    f = _mm_min_ps(f, _mm_loadu_ps(m_Last));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(c), _mm_cvttps_epi32(f));
#else
    float d[4];
    doubledCentroid.Store(d);
    for (int a = 0; a < 3; ++a) {
        const float f = (d[a] - m_Lo2[a]) * m_Scale2[a];
        c[a] = int(!(f > 0.0f) ? 0.0f : (f < m_Last[a] ? f : m_Last[a]));
    }
#endif
    return uint32_t(c[0]) + m_Dims[0] * (uint32_t(c[1]) + m_Dims[1] * uint32_t(c[2]));
}

void CellGrid::Absorb(const Bvh::Ref* refs, uint32_t begin, uint32_t end, Box4& bounds, Box4& doubledCentroids)
{
    // Meshes are stored coherently: runs of references fall into one cell,
    // whose sums stay in registers until the run ends.
    uint32_t run = 0xffffffffu, runCount = 0;
    Box4 runBounds, runCentroids;
    uint32_t* cellOf = m_CellOf.data();
    auto flush = [&] {
        if (run != 0xffffffffu) {
            Cell& cell = m_Cells[run];
            cell.bounds.Grow(runBounds);
            cell.doubledCentroids.Grow(runCentroids);
            cell.count += runCount;
            bounds.Grow(runBounds);
            doubledCentroids.Grow(runCentroids);
        }
    };
    for (uint32_t k = begin; k < end; ++k) {
        const V4 lo = V4::Load(refs[k].min), hi = V4::Load(refs[k].max), c2 = lo + hi;
        const uint32_t cell = CellOf(c2);
        cellOf[k] = cell;
        if (cell != run) {
            flush();
            run = cell;
            runCount = 0;
            runBounds = runCentroids = Box4();
        }
        runBounds.Grow(lo, hi);
        runCentroids.Grow(c2);
        ++runCount;
    }
    flush();
}

void CellGrid::Build(Bvh::NodeArray& nodes, const Bvh::Ref* refs, Bvh::Ref* sorted, uint32_t count,
                     uint32_t* indices, const Box4& bounds, uint32_t maxLeafSize)
{
    m_Occupied.clear();
    Box4 doubled;
    for (uint32_t c = 0; c < m_Cells.size(); ++c) {
        if (m_Cells[c].count > 0) {
            m_Occupied.push_back(c);
            doubled.Grow(m_Cells[c].doubledCentroids);
        }
    }
    m_Side.resize(m_Occupied.size());

    // A range of occupied cells below a node; its box is stored already.
    struct Group {
        uint32_t node, cellBegin, cellEnd, count;
        Box4 bounds, doubledCentroids;
    };
    std::vector<Group> stack{Group{0u, 0u, uint32_t(m_Occupied.size()), count, bounds, doubled}};
    std::vector<Group> clusters;
    while (!stack.empty()) {
        const Group g = stack.back();
        stack.pop_back();
        // The cells' centres (the middles of their centroid ranges) are
        // binned along the axis where they spread most.
        Box4 centres;
        const V4 quarter = V4::Splat(0.25f);
        for (uint32_t i = g.cellBegin; i < g.cellEnd; ++i) {
            const Cell& cell = m_Cells[m_Occupied[i]];
            centres.Grow((cell.doubledCentroids.lo + cell.doubledCentroids.hi) * quarter);
        }
        float lo[4], ext[4];
        centres.lo.Store(lo);
        (centres.hi - centres.lo).Store(ext);
        const int axis = ext[0] >= ext[1] && ext[0] >= ext[2] ? 0 : (ext[1] >= ext[2] ? 1 : 2);
        const float scale = ext[axis] > 0.0f ? float(kCellBins) * 0.99999f / ext[axis] : 0.0f;
        if (g.count <= kCluster || g.cellEnd - g.cellBegin == 1 || !(scale > 0.0f) || !std::isfinite(scale)) {
            clusters.push_back(g);
            continue;
        }
        Box4 binBox[kCellBins], binCentroids[kCellBins];
        uint32_t binCount[kCellBins] = {};
        for (uint32_t i = g.cellBegin; i < g.cellEnd; ++i) {
            const Cell& cell = m_Cells[m_Occupied[i]];
            float centre[4];
            ((cell.doubledCentroids.lo + cell.doubledCentroids.hi) * quarter).Store(centre);
            const float f = (centre[axis] - lo[axis]) * scale;
            const int b = int(!(f > 0.0f) ? 0.0f : std::min(f, float(kCellBins - 1)));
            m_Side[i] = uint8_t(b);
            binBox[b].Grow(cell.bounds);
            binCentroids[b].Grow(cell.doubledCentroids);
            binCount[b] += cell.count;
        }
        // The cheapest plane between bins, weighing each side's area by its
        // references.
        float leftArea[kCellBins];
        uint32_t leftCount[kCellBins];
        Box4 acc;
        uint32_t accCount = 0;
        for (int b = 0; b < kCellBins - 1; ++b) {
            acc.Grow(binBox[b]);
            accCount += binCount[b];
            leftArea[b] = acc.HalfArea();
            leftCount[b] = accCount;
        }
        acc = Box4();
        accCount = 0;
        float bestCost = FLT_MAX;
        int split = -1;
        for (int b = kCellBins - 1; b > 0; --b) {
            acc.Grow(binBox[b]);
            accCount += binCount[b];
            const uint32_t lc = leftCount[b - 1];
            if (lc == 0 || accCount == 0)
                continue;
            const float cost = leftArea[b - 1] * float(lc) + acc.HalfArea() * float(accCount);
            if (cost < bestCost) {
                bestCost = cost;
                split = b;
            }
        }
        if (split < 0) {
            clusters.push_back(g);
            continue;
        }
        Group left{0u, g.cellBegin, 0u, 0u, Box4(), Box4()}, right{0u, 0u, g.cellEnd, 0u, Box4(), Box4()};
        for (int b = 0; b < kCellBins; ++b) {
            Group& side = b < split ? left : right;
            side.bounds.Grow(binBox[b]);
            side.doubledCentroids.Grow(binCentroids[b]);
            side.count += binCount[b];
        }
        // Partition the cells by their recorded bins.
        uint32_t i = g.cellBegin, j = g.cellEnd;
        while (i < j) {
            if (m_Side[i] < split) {
                ++i;
            } else {
                --j;
                std::swap(m_Occupied[i], m_Occupied[j]);
                std::swap(m_Side[i], m_Side[j]);
            }
        }
        left.cellEnd = right.cellBegin = i;
        const uint32_t first = static_cast<uint32_t>(nodes.size());
        nodes.push_back(Bvh::Node{});
        nodes.push_back(Bvh::Node{});
        nodes[g.node].first = first;
        nodes[g.node].count = 0;
        left.node = first;
        right.node = first + 1;
        SetNode(nodes[first], left.bounds, 0, left.count);
        SetNode(nodes[first + 1], right.bounds, 0, right.count);
        stack.push_back(right);
        stack.push_back(left); // the left side first: clusters come in leaf order
    }

    // Each cluster's references go to one range, in the order of the
    // clusters; within it, cell by cell.
    m_Next.resize(m_Cells.size());
    uint32_t offset = 0;
    std::vector<uint32_t> clusterBegin(clusters.size());
    for (std::size_t c = 0; c < clusters.size(); ++c) {
        clusterBegin[c] = offset;
        for (uint32_t i = clusters[c].cellBegin; i < clusters[c].cellEnd; ++i) {
            m_Next[m_Occupied[i]] = offset;
            offset += m_Cells[m_Occupied[i]].count;
        }
    }
    const uint32_t* cellOf = m_CellOf.data();
    uint32_t* next = m_Next.data();
#if defined(__SSE2__)
    // Streaming stores: the destination is far larger than the caches, and
    // ordinary stores would first read every line they fill.
    static_assert(sizeof(Bvh::Ref) == 32, "a reference is two aligned quadruples");
    for (uint32_t k = 0; k < count; ++k) {
        Bvh::Ref& to = sorted[next[cellOf[k]]++];
        _mm_stream_ps(to.min, _mm_loadu_ps(refs[k].min));
        _mm_stream_ps(to.max, _mm_loadu_ps(refs[k].max));
    }
    _mm_sfence();
#else
    for (uint32_t k = 0; k < count; ++k)
        sorted[next[cellOf[k]]++] = refs[k];
#endif

    const V4 half = V4::Splat(0.5f);
    for (std::size_t c = 0; c < clusters.size(); ++c) {
        const Group& g = clusters[c];
        Box4 centroids;
        centroids.lo = g.doubledCentroids.lo * half;
        centroids.hi = g.doubledCentroids.hi * half;
        BuildRange(nodes, sorted, indices, g.node, clusterBegin[c], clusterBegin[c] + g.count, g.bounds, centroids,
                   m_Tasks, maxLeafSize);
    }
    m_Active = false;
}

} // namespace orvcore::bvhbuild
