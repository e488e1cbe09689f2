#include <orvkernel/Bvh.h>

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
constexpr uint32_t kSmallNode = 64;

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

inline V4 Centroid(const Bvh::Ref& r) { return (V4::Load(r.min) + V4::Load(r.max)) * V4::Splat(0.5f); }

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

void Bvh::SetNode(uint32_t index, const float* lo, const float* hi, uint32_t first, uint32_t count)
{
    Node& node = m_Nodes[index];
    node.min = glm::vec3(lo[0], lo[1], lo[2]);
    node.max = glm::vec3(hi[0], hi[1], hi[2]);
    node.first = first;
    node.count = count;
}

void Bvh::BuildSmall(uint32_t nodeIndex, uint32_t begin, uint32_t end, uint32_t maxLeafSize)
{
    const uint32_t n = end - begin;
    if (n <= maxLeafSize)
        return;
    Box4 centroids;
    for (uint32_t i = begin; i < end; ++i)
        centroids.Grow(Centroid(m_Refs[i]));
    float lo[4], ext[4];
    centroids.lo.Store(lo);
    (centroids.hi - centroids.lo).Store(ext);
    const int axis = ext[0] >= ext[1] && ext[0] >= ext[2] ? 0 : (ext[1] >= ext[2] ? 1 : 2);
    const float middle = lo[axis] + ext[axis] * 0.5f;

    uint32_t i = begin, j = end;
    if (ext[axis] > 0.0f) {
        auto isLeft = [&](const Ref& r) { return (r.min[axis] + r.max[axis]) * 0.5f < middle; };
        for (;;) {
            while (i < j && isLeft(m_Refs[i]))
                ++i;
            while (i < j && !isLeft(m_Refs[j - 1]))
                --j;
            if (i >= j)
                break;
            std::swap(m_Refs[i], m_Refs[j - 1]);
            std::swap(m_Indices[i], m_Indices[j - 1]);
        }
    }
    uint32_t mid = i;
    if (mid == begin || mid == end)
        mid = begin + n / 2;

    Box4 left, right;
    for (uint32_t k = begin; k < end; ++k)
        (k < mid ? left : right).Grow(V4::Load(m_Refs[k].min), V4::Load(m_Refs[k].max));
    const uint32_t first = static_cast<uint32_t>(m_Nodes.size());
    m_Nodes.push_back(Node{});
    m_Nodes.push_back(Node{});
    m_Nodes[nodeIndex].first = first;
    m_Nodes[nodeIndex].count = 0;
    float a[4], b[4];
    left.lo.Store(a);
    left.hi.Store(b);
    SetNode(first, a, b, begin, mid - begin);
    right.lo.Store(a);
    right.hi.Store(b);
    SetNode(first + 1, a, b, mid, end - mid);
    BuildSmall(first, begin, mid, maxLeafSize);
    BuildSmall(first + 1, mid, end, maxLeafSize);
}

void Bvh::BuildFromRefs(uint32_t maxLeafSize)
{
    m_Nodes.clear();
    const uint32_t count = static_cast<uint32_t>(m_Refs.size());
    if (count == 0)
        return;
    maxLeafSize = std::max(1u, maxLeafSize);
    // A binary tree over n primitives has at most 2n - 1 nodes: no
    // reallocation happens while building.
    m_Nodes.reserve(2 * std::size_t(count) + 1);

    auto setNode = [this](uint32_t index, const Box4& bounds, uint32_t first, uint32_t n) {
        float lo[4], hi[4];
        bounds.lo.Store(lo);
        bounds.hi.Store(hi);
        SetNode(index, lo, hi, first, n);
    };

    m_Nodes.push_back(Node{});
    m_Nodes.push_back(Node{}); // unused: sibling pairs start at even slots
    Box4 rootBounds, rootCentroids;
    for (const Ref& r : m_Refs) {
        rootBounds.Grow(V4::Load(r.min), V4::Load(r.max));
        rootCentroids.Grow(Centroid(r));
    }
    setNode(0, rootBounds, 0, count);
    if (count <= kSmallNode) {
        BuildSmall(0, 0, count, maxLeafSize);
        return;
    }

    // Large nodes are split by the binned heuristic, on a stack of tasks that
    // is updated in place: the top task's slot is reused by its right child
    // and the left child goes above it, so no task is copied.
    std::vector<Task> tasks(64);
    std::size_t top = 0;
    {
        Task& root = tasks[top++];
        root.node = 0;
        root.begin = 0;
        root.end = count;
        root.bounds = rootBounds;
        root.centroids = rootCentroids;
        SetupBinning(root, rootCentroids);
        for (const Ref& r : m_Refs)
            AddToBins(root, r, V4::Load(r.min), V4::Load(r.max));
    }

    while (top > 0) {
        if (top + 1 >= tasks.size())
            tasks.resize(tasks.size() * 2);
        Task& task = tasks[top - 1];
        const uint32_t begin = task.begin, end = task.end, n = end - begin, parent = task.node;
        if (n <= kSmallNode) {
            BuildSmall(parent, begin, end, maxLeafSize);
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
                    AddToBins(task, m_Refs[i], V4::Load(m_Refs[i].min), V4::Load(m_Refs[i].max));
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
            BuildSmall(parent, begin, end, maxLeafSize);
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
        struct Loaded {
            V4 lo, hi;
            float c[4];
        };
        auto load = [&](uint32_t k, Loaded& e) {
            e.lo = V4::Load(m_Refs[k].min);
            e.hi = V4::Load(m_Refs[k].max);
            ((e.lo + e.hi) * V4::Splat(0.5f)).Store(e.c);
            return std::min(std::max(int((e.c[axis] - binMin) * binScale), 0), kBins - 1) < split;
        };
        // Consecutive primitives usually fall into the same bin (meshes are
        // stored coherently), so each child keeps its current bin's growth in
        // registers and writes it back when the bin changes: no chain of
        // stores and reloads through one bin.
        struct Run {
            int bin = -1;
            Box4 box;
            uint32_t count = 0;
        };
        Run leftRun, rightRun;
        auto flush = [](Run& run, Task& child) {
            if (run.bin >= 0) {
                child.bins.box[run.bin].Grow(run.box);
                child.bins.count[run.bin] += run.count;
            }
        };
        auto add = [&](const Loaded& e, Box4& centroids, bool bin, Task& child, Run& run) {
            centroids.Grow(V4::Load(e.c));
            if (bin) {
                const int b =
                    std::min(std::max(int((e.c[child.axis] - child.binMin) * child.binScale), 0), kBins - 1);
                if (b != run.bin) {
                    flush(run, child);
                    run.bin = b;
                    run.box = Box4();
                    run.count = 0;
                }
                run.box.Grow(e.lo, e.hi);
                ++run.count;
            }
        };
        uint32_t i = begin, j = end;
        Loaded a, b;
        while (i < j) {
            if (load(i, a)) {
                add(a, leftCentroids, binLeft, *lt, leftRun);
                ++i;
                continue;
            }
            // Element i goes right: find an element from the end that goes left.
            bool swapped = false;
            while (i + 1 < j) {
                if (!load(j - 1, b)) {
                    add(b, rightCentroids, binRight, *rt, rightRun);
                    --j;
                    continue;
                }
                std::swap(m_Refs[i], m_Refs[j - 1]);
                std::swap(m_Indices[i], m_Indices[j - 1]);
                add(b, leftCentroids, binLeft, *lt, leftRun);
                add(a, rightCentroids, binRight, *rt, rightRun);
                ++i;
                --j;
                swapped = true;
                break;
            }
            if (!swapped) {
                add(a, rightCentroids, binRight, *rt, rightRun);
                --j;
            }
        }
        if (binLeft)
            flush(leftRun, *lt);
        if (binRight)
            flush(rightRun, *rt);
        const uint32_t mid = i;

        const uint32_t firstChild = static_cast<uint32_t>(m_Nodes.size());
        m_Nodes.push_back(Node{});
        m_Nodes.push_back(Node{});
        m_Nodes[parent].first = firstChild;
        m_Nodes[parent].count = 0;
        setNode(firstChild, leftBounds, begin, mid - begin);
        setNode(firstChild + 1, rightBounds, mid, end - mid);

        --top;
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
