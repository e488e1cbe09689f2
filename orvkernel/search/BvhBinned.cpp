#include <orvkernel/search/BvhBuildParts.h>

#include <utility>

namespace orvcore::bvhbuild {

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

namespace {

// What the small splits move: a reference's doubled centroid and its slot
// (the bits of an integer in the w lane), 16 bytes instead of the
// reference's 32. The boxes are gathered from the references at the leaves
// and merged on the way up.
struct Centroid {
    float c[3];
    uint32_t slot;
};

// The centroid in lanes x, y, z (the w lane holds the slot's bits and is
// ignored, as everywhere here).
inline V4 Load(const Centroid& c)
{
#if defined(__SSE2__)
    return {_mm_loadu_ps(reinterpret_cast<const float*>(&c))};
#else
    return {{c.c[0], c.c[1], c.c[2], 0.0f}};
#endif
}

// One node of a small subtree over `src[lb, le)`. The partition moves the
// centroids into `dst` at the same places, left ones from the front and
// right ones from the back, without a branch on the side; the children
// partition back from `dst` into `src`. Returns the node's box. `refs` and
// `indices` start at the subtree's first slot.
Box4 SplitSmall(Bvh::NodeArray& nodes, Centroid* src, Centroid* dst, const Bvh::Ref* refs, uint32_t* indices,
                uint32_t g0, uint32_t nodeIndex, uint32_t lb, uint32_t le, const Box4& doubledRange,
                uint32_t maxLeafSize)
{
    const uint32_t n = le - lb;
    if (n <= maxLeafSize) {
        Box4 box;
        for (uint32_t k = lb; k < le; ++k) {
            const Bvh::Ref& r = refs[src[k].slot];
            box.Grow(V4::Load(r.min), V4::Load(r.max));
            indices[k] = r.Primitive();
        }
        return box;
    }
    float lo[4], ext[4];
    doubledRange.lo.Store(lo);
    (doubledRange.hi - doubledRange.lo).Store(ext);
    const int axis = ext[0] >= ext[1] && ext[0] >= ext[2] ? 0 : (ext[1] >= ext[2] ? 1 : 2);
    // The middle of the doubled range: twice the middle of the centroids.
    const float middle2 = lo[axis] + ext[axis] * 0.5f;

    uint32_t l = lb, r = le;
    if (ext[axis] > 0.0f) {
        // Each centroid is written to both free ends, and the end on its
        // side moves past it; the copy at the other end is overwritten
        // later (when the ends meet they are one slot). No branch on the
        // side, which would mispredict on every other reference here.
        for (uint32_t k = lb; k < le; ++k) {
            const Centroid c = src[k];
            const uint32_t left = c.c[axis] < middle2 ? 1u : 0u;
            dst[l] = c;
            dst[r - 1] = c;
            l += left;
            r -= 1u - left;
        }
    }
    uint32_t mid = l;
    if (mid == lb || mid == le) {
        // Coincident centroids (or a range too narrow to halve): split by count.
        mid = lb + n / 2;
        if (!(ext[axis] > 0.0f))
            std::copy(src + lb, src + le, dst + lb);
    }
    Box4 leftRange, rightRange;
    for (uint32_t k = lb; k < mid; ++k)
        leftRange.Grow(Load(dst[k]));
    for (uint32_t k = mid; k < le; ++k)
        rightRange.Grow(Load(dst[k]));

    const uint32_t first = static_cast<uint32_t>(nodes.size());
    nodes.push_back(Bvh::Node{});
    nodes.push_back(Bvh::Node{});
    nodes[nodeIndex].first = first;
    nodes[nodeIndex].count = 0;
    // Leaf ranges now (a split below turns them into inner nodes), boxes
    // once the children know them.
    const Box4 none;
    SetNode(nodes[first], none, g0 + lb, mid - lb);
    SetNode(nodes[first + 1], none, g0 + mid, le - mid);
    const Box4 left = SplitSmall(nodes, dst, src, refs, indices, g0, first, lb, mid, leftRange, maxLeafSize);
    const Box4 right = SplitSmall(nodes, dst, src, refs, indices, g0, first + 1, mid, le, rightRange, maxLeafSize);
    SetNode(nodes[first], left, nodes[first].first, nodes[first].count);
    SetNode(nodes[first + 1], right, nodes[first + 1].first, nodes[first + 1].count);
    Box4 box = left;
    box.Grow(right);
    return box;
}

} // namespace

// Splits a small node (its box already stored) at the middle of its centroid
// range along the widest axis, down to leaves. Larger ranges come here only
// when their centroids coincide, and borrow heap buffers.
void BuildSmall(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, uint32_t nodeIndex, uint32_t begin,
                uint32_t end, const Box4& centroids, uint32_t maxLeafSize)
{
    const uint32_t n = end - begin;
    if (n <= maxLeafSize) {
        WriteLeaf(refs, indices, begin, end);
        return;
    }
    Centroid local[2][kSmallNode];
    std::vector<Centroid> heap;
    Centroid* a = local[0];
    Centroid* b = local[1];
    if (n > kSmallNode) {
        heap.resize(2 * std::size_t(n));
        a = heap.data();
        b = a + n;
    }
    for (uint32_t k = 0; k < n; ++k) {
        const Bvh::Ref& r = refs[begin + k];
        a[k] = Centroid{{r.min[0] + r.max[0], r.min[1] + r.max[1], r.min[2] + r.max[2]}, k};
    }
    Box4 doubledRange;
    doubledRange.lo = centroids.lo + centroids.lo;
    doubledRange.hi = centroids.hi + centroids.hi;
    SplitSmall(nodes, a, b, refs + begin, indices + begin, begin, nodeIndex, 0, n, doubledRange, maxLeafSize);
}

namespace {

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

void BuildBinned(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, const Task& first,
                 std::vector<Task>& tasks, uint32_t maxLeafSize)
{
    // The stack of tasks is updated in place: the top task's slot is reused
    // by its right child and the left child goes above it, so no task is
    // copied.
    if (tasks.size() < 64)
        tasks.resize(64);
    std::size_t top = 0;
    tasks[top++] = first;
    while (top > 0) {
        if (top + 1 >= tasks.size())
            tasks.resize(tasks.size() * 2);
        Task& task = tasks[top - 1];
        const uint32_t begin = task.begin, end = task.end, n = end - begin, parent = task.node;
        if (n <= kSmallNode) {
            BuildSmall(nodes, refs, indices, parent, begin, end, task.centroids, maxLeafSize);
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
                    AddToBins(task, refs[i]);
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
            BuildSmall(nodes, refs, indices, parent, begin, end, task.centroids, maxLeafSize);
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

        const uint32_t firstChild = static_cast<uint32_t>(nodes.size());
        nodes.push_back(Bvh::Node{});
        nodes.push_back(Bvh::Node{});
        nodes[parent].first = firstChild;
        nodes[parent].count = 0;
        SetNode(nodes[firstChild], leftBounds, begin, mid - begin);
        SetNode(nodes[firstChild + 1], rightBounds, mid, end - mid);

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

void BuildRange(Bvh::NodeArray& nodes, Bvh::Ref* refs, uint32_t* indices, uint32_t node, uint32_t begin,
                uint32_t end, const Box4& bounds, const Box4& centroids, std::vector<Task>& tasks,
                uint32_t maxLeafSize)
{
    SetNode(nodes[node], bounds, begin, end - begin);
    if (end - begin <= kSmallNode) {
        BuildSmall(nodes, refs, indices, node, begin, end, centroids, maxLeafSize);
        return;
    }
    Task task;
    SetupBinning(task, centroids);
    for (uint32_t k = begin; k < end; ++k)
        AddToBins(task, refs[k]);
    task.node = node;
    task.begin = begin;
    task.end = end;
    task.bounds = bounds;
    task.centroids = centroids;
    BuildBinned(nodes, refs, indices, task, tasks, maxLeafSize);
}

} // namespace orvcore::bvhbuild
