#include <orvkernel/search/Bvh.h>

#include <algorithm>
#include <cfloat>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvcore {

namespace {

constexpr int kBins = 16;
// Nodes this small split at the middle of their centroid range instead of
// by binning: at the bottom of the tree the per-node cost of 16 bins
// outweighs what the heuristic gains.
constexpr uint32_t kSmallNode = 256;

// Four-float lane helpers: SSE where available, plain floats otherwise. The
// w lane is always 0 and ignored.
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
    void ToInt(int* out) const { _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_cvttps_epi32(v)); }
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
    void ToInt(int* out) const
    {
        for (int i = 0; i < 4; ++i)
            out[i] = int(v[i]);
    }
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

inline float Lane(V4 v, int i)
{
    float f[4];
    v.Store(f);
    return f[i];
}

// Picks the binning axis and scale for a centroid range.
void SetupBinning(Task& task, const Box4& centroids)
{
    float lo[4], ext[4];
    centroids.lo.Store(lo);
    (centroids.hi - centroids.lo).Store(ext);
    const int axis = ext[0] >= ext[1] && ext[0] >= ext[2] ? 0 : (ext[1] >= ext[2] ? 1 : 2);
    task.axis = axis;
    task.binMin = lo[axis];
    task.binScale = ext[axis] > 0.0f ? float(kBins) * 0.99999f / ext[axis] : 0.0f;
    task.bins.Reset();
}

inline int BinOf(const Task& task, const Bvh::Ref& r)
{
    const float c = (r.min[task.axis] + r.max[task.axis]) * 0.5f;
    return std::min(std::max(int((c - task.binMin) * task.binScale), 0), kBins - 1);
}

inline void AddToBins(Task& task, const Bvh::Ref& r, V4 lo, V4 hi)
{
    const int b = BinOf(task, r);
    task.bins.box[b].Grow(lo, hi);
    ++task.bins.count[b];
}


} // namespace

void Bvh::Clear()
{
    m_Nodes.clear();
    m_Indices.clear();
}

std::size_t Bvh::GetDepth() const
{
    if (m_Nodes.empty())
        return 0;
    std::size_t deepest = 0;
    std::vector<std::pair<uint32_t, std::size_t>> stack{{0u, 1u}};
    while (!stack.empty()) {
        auto [n, d] = stack.back();
        stack.pop_back();
        deepest = std::max(deepest, d);
        if (!m_Nodes[n].IsLeaf()) {
            stack.push_back({m_Nodes[n].first, d + 1});
            stack.push_back({m_Nodes[n].first + 1, d + 1});
        }
    }
    return deepest;
}

namespace {

void SetNode(Bvh::Node& node, const Box4& bounds, uint32_t first, uint32_t count)
{
    float lo[4], hi[4];
    bounds.lo.Store(lo);
    bounds.hi.Store(hi);
    node.min = glm::vec3(lo[0], lo[1], lo[2]);
    node.max = glm::vec3(hi[0], hi[1], hi[2]);
    node.first = first;
    node.count = count;
}

// Leaves' primitive numbers, written while their references are hot.
void WriteLeaf(const Bvh::Ref* refs, uint32_t* indices, uint32_t begin, uint32_t end)
{
    for (uint32_t k = begin; k < end; ++k)
        indices[k] = refs[k].Primitive();
}

// Splits a small node (its box already stored) at the middle of its centroid
// range along the widest axis, down to leaves. One pass per level: the
// partition also gathers both children's boxes and centroid ranges.
void BuildSmall(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, uint32_t nodeIndex, uint32_t begin,
                uint32_t end, const Box4& centroids, uint32_t maxLeafSize)
{
    const uint32_t n = end - begin;
    if (n <= maxLeafSize) {
        WriteLeaf(refs, indices, begin, end);
        return;
    }
    float lo[4], ext[4];
    centroids.lo.Store(lo);
    (centroids.hi - centroids.lo).Store(ext);
    const int axis = ext[0] >= ext[1] && ext[0] >= ext[2] ? 0 : (ext[1] >= ext[2] ? 1 : 2);
    // Twice the centroid is compared with twice the middle: one add, no multiply.
    const float middle2 = 2.0f * lo[axis] + ext[axis];

    Box4 left, right, leftC, rightC;
    uint32_t i = begin, j = end;
    if (ext[axis] > 0.0f) {
        auto isLeft = [&](const Bvh::Ref& r) { return r.min[axis] + r.max[axis] < middle2; };
        auto grow = [](Box4& box, Box4& c, const Bvh::Ref& r) {
            const V4 a = V4::Load(r.min), b = V4::Load(r.max);
            box.Grow(a, b);
            c.Grow(a + b);
        };
        for (;;) {
            while (i < j && isLeft(refs[i]))
                grow(left, leftC, refs[i++]);
            while (i < j && !isLeft(refs[j - 1]))
                grow(right, rightC, refs[--j]);
            if (i >= j)
                break;
            std::swap(refs[i], refs[j - 1]);
            grow(left, leftC, refs[i++]);
            grow(right, rightC, refs[--j]);
        }
    }
    uint32_t mid = i;
    if (mid == begin || mid == end) {
        // Coincident centroids (or a range too narrow to halve): split by count.
        mid = begin + n / 2;
        left = right = leftC = rightC = Box4();
        for (uint32_t k = begin; k < end; ++k) {
            const V4 a = V4::Load(refs[k].min), b = V4::Load(refs[k].max);
            (k < mid ? left : right).Grow(a, b);
            (k < mid ? leftC : rightC).Grow(a + b);
        }
    }
    // The centroid boxes above hold doubled centroids.
    const V4 half = V4::Splat(0.5f);
    leftC.lo = leftC.lo * half;
    leftC.hi = leftC.hi * half;
    rightC.lo = rightC.lo * half;
    rightC.hi = rightC.hi * half;

    const uint32_t first = static_cast<uint32_t>(nodes.size());
    nodes.push_back(Bvh::Node{});
    nodes.push_back(Bvh::Node{});
    nodes[nodeIndex].first = first;
    nodes[nodeIndex].count = 0;
    SetNode(nodes[first], left, begin, mid - begin);
    SetNode(nodes[first + 1], right, mid, end - mid);
    BuildSmall(nodes, refs, indices, first, begin, mid, leftC, maxLeafSize);
    BuildSmall(nodes, refs, indices, first + 1, mid, end, rightC, maxLeafSize);
}

// One child of a node being partitioned: gathers its centroid range and,
// when it will be split by binning, fills its bins. Consecutive primitives
// usually fall into the same bin (meshes are stored coherently), so the
// current bin's growth stays in registers and is written back when the bin
// changes: no chain of stores and reloads through one bin.
struct Side {
    Task* task;
    Box4& centroids;
    int axis = 0;
    float binMin = 0.0f, binScale = 0.0f;
    Box4 doubled; // centroids times two
    int run = -1;
    Box4 runBox;
    uint32_t runCount = 0;

    Side(Task* t, Box4& c) : task(t), centroids(c)
    {
        if (task) {
            axis = task->axis;
            binMin = task->binMin;
            binScale = task->binScale;
        }
    }
    void Flush()
    {
        if (run >= 0) {
            task->bins.box[run].Grow(runBox);
            task->bins.count[run] += runCount;
        }
    }
    // c2: the primitive's doubled centroid.
    void Add(V4 lo, V4 hi, const float* c2)
    {
        doubled.Grow(V4::Load(c2));
        if (!task)
            return;
        const int b = std::min(std::max(int((c2[axis] * 0.5f - binMin) * binScale), 0), kBins - 1);
        if (b != run) {
            Flush();
            run = b;
            runBox = Box4();
            runCount = 0;
        }
        runBox.Grow(lo, hi);
        ++runCount;
    }
    void Finish()
    {
        if (task)
            Flush();
        centroids.lo = doubled.lo * V4::Splat(0.5f);
        centroids.hi = doubled.hi * V4::Splat(0.5f);
    }
};

} // namespace

namespace {

// Per-thread build state: the reference array and the root's statistics,
// gathered chunk by chunk while the references are produced.
struct BuildScratch {
    LargeVector<Bvh::Ref> refs;
    Box4 bounds;
    Box4 doubledCentroids; // centroids times two
    bool rootBinned = false;
    Task root;
};

BuildScratch& Scratch()
{
    thread_local BuildScratch scratch;
    return scratch;
}

} // namespace

Bvh::Ref* Bvh::BeginBuild(uint32_t count, const glm::vec3& centroidsLo, const glm::vec3& centroidsHi)
{
    BuildScratch& s = Scratch();
    if (s.refs.size() < count)
        s.refs.resize(count);
    s.bounds = Box4();
    s.doubledCentroids = Box4();
    const bool estimated = centroidsLo.x <= centroidsHi.x && centroidsLo.y <= centroidsHi.y &&
                           centroidsLo.z <= centroidsHi.z && std::isfinite(centroidsLo.x + centroidsLo.y + centroidsLo.z) &&
                           std::isfinite(centroidsHi.x + centroidsHi.y + centroidsHi.z);
    s.rootBinned = false;
    if (estimated) {
        const float lo[4] = {centroidsLo.x, centroidsLo.y, centroidsLo.z, 0.0f};
        const float hi[4] = {centroidsHi.x, centroidsHi.y, centroidsHi.z, 0.0f};
        Box4 range;
        range.lo = V4::Load(lo);
        range.hi = V4::Load(hi);
        SetupBinning(s.root, range);
        s.rootBinned = s.root.binScale > 0.0f;
    }
    return s.refs.data();
}

void Bvh::AbsorbRefs(uint32_t begin, uint32_t end)
{
    BuildScratch& s = Scratch();
    Box4 bounds = s.bounds, doubled = s.doubledCentroids;
    const Ref* refs = s.refs.data();
    for (uint32_t k = begin; k < end; ++k) {
        const V4 lo = V4::Load(refs[k].min), hi = V4::Load(refs[k].max);
        bounds.Grow(lo, hi);
        doubled.Grow(lo + hi);
    }
    s.bounds = bounds;
    s.doubledCentroids = doubled;
    if (s.rootBinned) {
        for (uint32_t k = begin; k < end; ++k)
            AddToBins(s.root, refs[k], V4::Load(refs[k].min), V4::Load(refs[k].max));
    }
}

void Bvh::FinishBuild(uint32_t count, uint32_t maxLeafSize)
{
    m_Nodes.clear();
    m_Indices.clear();
    if (count == 0)
        return;
    BuildScratch& scratch = Scratch();
    maxLeafSize = std::max(1u, maxLeafSize);
    // A binary tree over n primitives has at most 2n - 1 nodes: no
    // reallocation happens while building.
    m_Nodes.reserve(2 * std::size_t(count) + 1);

    auto setNode = [this](uint32_t index, const Box4& bounds, uint32_t first, uint32_t n) {
        SetNode(m_Nodes[index], bounds, first, n);
    };
    Ref* const refs = scratch.refs.data();
    m_Indices.resize(count);
    uint32_t* const indices = m_Indices.data();

    m_Nodes.push_back(Node{});
    m_Nodes.push_back(Node{}); // unused: sibling pairs start at even slots
    const Box4 rootBounds = scratch.bounds;
    Box4 rootCentroids;
    rootCentroids.lo = scratch.doubledCentroids.lo * V4::Splat(0.5f);
    rootCentroids.hi = scratch.doubledCentroids.hi * V4::Splat(0.5f);
    setNode(0, rootBounds, 0, count);
    if (count <= kSmallNode) {
        BuildSmall(m_Nodes, refs, indices, 0, 0, count, rootCentroids, maxLeafSize);
        return;
    }

    // Large nodes are split by the binned heuristic, on a stack of tasks that
    // is updated in place: the top task's slot is reused by its right child
    // and the left child goes above it, so no task is copied.
    std::vector<Task> tasks(64);
    std::size_t top = 0;
    {
        Task& root = tasks[top++];
        if (scratch.rootBinned) {
            root = scratch.root;
        } else {
            SetupBinning(root, rootCentroids);
            for (uint32_t k = 0; k < count; ++k)
                AddToBins(root, refs[k], V4::Load(refs[k].min), V4::Load(refs[k].max));
        }
        root.node = 0;
        root.begin = 0;
        root.end = count;
        root.bounds = rootBounds;
        root.centroids = rootCentroids;
    }

    while (top > 0) {
        if (top + 1 >= tasks.size())
            tasks.resize(tasks.size() * 2);
        Task& task = tasks[top - 1];
        const uint32_t begin = task.begin, end = task.end, n = end - begin, parent = task.node;
        if (n <= kSmallNode) {
            BuildSmall(m_Nodes, refs, indices, parent, begin, end, task.centroids, maxLeafSize);
            --top;
            continue;
        }

        // The cheapest plane between bins; when the bins came from a loose
        // range and hold everything in one bin, bin again on the exact range.
        int split = -1;
        uint32_t leftCount = 0;
        for (int attempt = 0; attempt < 2 && split < 0; ++attempt) {
            if (attempt == 1) {
                SetupBinning(task, task.centroids);
                if (task.binScale == 0.0f)
                    break;
                for (uint32_t i = begin; i < end; ++i)
                    AddToBins(task, refs[i], V4::Load(refs[i].min), V4::Load(refs[i].max));
            }
            float leftArea[kBins];
            uint32_t leftCounts[kBins];
            Box4 acc;
            uint32_t accCount = 0;
            for (int b = 0; b < kBins - 1; ++b) {
                acc.Grow(task.bins.box[b]);
                accCount += task.bins.count[b];
                leftArea[b] = accCount ? acc.HalfArea() : 0.0f;
                leftCounts[b] = accCount;
            }
            acc = Box4();
            accCount = 0;
            float bestCost = FLT_MAX;
            for (int b = kBins - 1; b > 0; --b) {
                acc.Grow(task.bins.box[b]);
                accCount += task.bins.count[b];
                const uint32_t lc = leftCounts[b - 1];
                if (lc == 0 || accCount == 0)
                    continue;
                const float cost = leftArea[b - 1] * float(lc) + acc.HalfArea() * float(accCount);
                if (cost < bestCost) {
                    bestCost = cost;
                    split = b;
                    leftCount = lc;
                }
            }
        }
        if (split < 0) {
            // The centroids coincide: no plane separates them.
            BuildSmall(m_Nodes, refs, indices, parent, begin, end, task.centroids, maxLeafSize);
            --top;
            continue;
        }

        Box4 leftBounds, rightBounds, leftCentroids, rightCentroids;
        for (int b = 0; b < kBins; ++b)
            (b < split ? leftBounds : rightBounds).Grow(task.bins.box[b]);
        const uint32_t rightCount = n - leftCount;
        const bool pushLeft = leftCount > maxLeafSize, pushRight = rightCount > maxLeafSize;
        const bool binLeft = leftCount > kSmallNode, binRight = rightCount > kSmallNode;

        // The children's centroid ranges, known up to the split plane, set
        // up their binning before the partition moves anything.
        const int axis = task.axis;
        const float binMin = task.binMin, binScale = task.binScale;
        const float plane = binMin + float(split) / binScale;
        Box4 leftRange = task.centroids, rightRange = task.centroids;
        {
            float hi[4], lo[4];
            leftRange.hi.Store(hi);
            hi[axis] = std::min(hi[axis], plane);
            leftRange.hi = V4::Load(hi);
            rightRange.lo.Store(lo);
            lo[axis] = std::max(lo[axis], plane);
            rightRange.lo = V4::Load(lo);
        }
        // From here on the parent's slot is free (`task` is not used below).
        Task spareLeft, spareRight;
        Task* rt = pushRight ? &tasks[top - 1] : &spareRight;
        Task* lt = pushLeft ? (pushRight ? &tasks[top] : &tasks[top - 1]) : &spareLeft;
        if (binLeft)
            SetupBinning(*lt, leftRange);
        if (binRight)
            SetupBinning(*rt, rightRange);

        // Each primitive is loaded and its centroid computed once: the
        // parent's bin decides its side, the child's bin is filled at once.
        // The sides' binning parameters are copied into locals so that the
        // stores of the partition cannot be thought to change them.
        Side left(binLeft ? lt : nullptr, leftCentroids), right(binRight ? rt : nullptr, rightCentroids);
        auto isLeft = [&](const float* c2) { return int((c2[axis] * 0.5f - binMin) * binScale) < split; };
        uint32_t i = begin, j = end;
        float ca[4], cb[4];
        while (i < j) {
            const V4 alo = V4::Load(refs[i].min), ahi = V4::Load(refs[i].max);
            (alo + ahi).Store(ca);
            if (isLeft(ca)) {
                left.Add(alo, ahi, ca);
                ++i;
                continue;
            }
            // Element i goes right: find an element from the end that goes left.
            bool swapped = false;
            while (i + 1 < j) {
                const V4 blo = V4::Load(refs[j - 1].min), bhi = V4::Load(refs[j - 1].max);
                (blo + bhi).Store(cb);
                if (!isLeft(cb)) {
                    right.Add(blo, bhi, cb);
                    --j;
                    continue;
                }
                blo.Store(refs[i].min);
                bhi.Store(refs[i].max);
                alo.Store(refs[j - 1].min);
                ahi.Store(refs[j - 1].max);
                left.Add(blo, bhi, cb);
                right.Add(alo, ahi, ca);
                ++i;
                --j;
                swapped = true;
                break;
            }
            if (!swapped) {
                right.Add(alo, ahi, ca);
                --j;
            }
        }
        left.Finish();
        right.Finish();
        const uint32_t mid = i;

        const uint32_t firstChild = static_cast<uint32_t>(m_Nodes.size());
        m_Nodes.push_back(Node{});
        m_Nodes.push_back(Node{});
        m_Nodes[parent].first = firstChild;
        m_Nodes[parent].count = 0;
        setNode(firstChild, leftBounds, begin, mid - begin);
        setNode(firstChild + 1, rightBounds, mid, end - mid);

        --top;
        if (!pushLeft)
            WriteLeaf(refs, indices, begin, mid);
        if (!pushRight)
            WriteLeaf(refs, indices, mid, end);
        if (pushRight) {
            rt->node = firstChild + 1;
            rt->begin = mid;
            rt->end = end;
            rt->bounds = rightBounds;
            rt->centroids = rightCentroids;
            ++top;
        }
        if (pushLeft) {
            lt->node = firstChild;
            lt->begin = begin;
            lt->end = mid;
            lt->bounds = leftBounds;
            lt->centroids = leftCentroids;
            ++top;
        }
    }
}

} // namespace orvcore
