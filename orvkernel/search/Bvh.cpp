#include <orvkernel/search/Bvh.h>

#include <orvkernel/search/BvhBuildParts.h>

#include <algorithm>
#include <utility>

namespace orvcore {

using namespace bvhbuild;

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

// Per-thread build state: the reference arrays and the root's statistics,
// gathered chunk by chunk while the references are produced.
struct BuildScratch {
    LargeVector<Bvh::Ref> refs;
    // The references in cluster order (grid builds), aligned for streaming
    // stores.
    LargeVector<Bvh::Ref, 32> sorted;
    Box4 bounds;
    Box4 doubledCentroids; // centroids times two
    bool rootBinned = false;
    Task root;
    CellGrid grid;
    std::vector<Task> tasks;
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
    s.grid.Deactivate();
    if (!estimated)
        return s.refs.data();
    const float lo[4] = {centroidsLo.x, centroidsLo.y, centroidsLo.z, 0.0f};
    const float hi[4] = {centroidsHi.x, centroidsHi.y, centroidsHi.z, 0.0f};
    if (count >= CellGrid::kMinReferences && s.grid.Setup(count, lo, hi))
        return s.refs.data();
    Box4 range;
    range.lo = V4::Load(lo);
    range.hi = V4::Load(hi);
    SetupBinning(s.root, range);
    s.rootBinned = s.root.binScale > 0.0f;
    return s.refs.data();
}

void Bvh::AbsorbRefs(uint32_t begin, uint32_t end)
{
    BuildScratch& s = Scratch();
    const Ref* refs = s.refs.data();
    if (s.grid.IsActive()) {
        s.grid.Absorb(refs, begin, end, s.bounds, s.doubledCentroids);
        return;
    }
    Box4 bounds = s.bounds, doubled = s.doubledCentroids;
    for (uint32_t k = begin; k < end; ++k) {
        const V4 lo = V4::Load(refs[k].min), hi = V4::Load(refs[k].max);
        bounds.Grow(lo, hi);
        doubled.Grow(lo + hi);
    }
    s.bounds = bounds;
    s.doubledCentroids = doubled;
    if (s.rootBinned) {
        for (uint32_t k = begin; k < end; ++k)
            AddToBins(s.root, refs[k]);
    }
}

void Bvh::FinishBuild(uint32_t count, uint32_t maxLeafSize)
{
    m_Nodes.clear();
    m_Indices.clear();
    BuildScratch& scratch = Scratch();
    if (count == 0) {
        scratch.grid.Deactivate();
        return;
    }
    maxLeafSize = std::max(1u, maxLeafSize);
    // A binary tree over n primitives has at most 2n - 1 nodes: no
    // reallocation happens while building.
    m_Nodes.reserve(2 * std::size_t(count) + 1);
    m_Indices.resize(count);
    uint32_t* const indices = m_Indices.data();

    m_Nodes.push_back(Node{});
    m_Nodes.push_back(Node{}); // unused: sibling pairs start at even slots
    const Box4 rootBounds = scratch.bounds;
    Box4 rootCentroids;
    rootCentroids.lo = scratch.doubledCentroids.lo * V4::Splat(0.5f);
    rootCentroids.hi = scratch.doubledCentroids.hi * V4::Splat(0.5f);
    SetNode(m_Nodes[0], rootBounds, 0, count);
    if (scratch.grid.IsActive()) {
        if (scratch.sorted.size() < count)
            scratch.sorted.resize(count);
        scratch.grid.Build(m_Nodes, scratch.refs.data(), scratch.sorted.data(), count, indices, rootBounds,
                           maxLeafSize);
        return;
    }
    Ref* const refs = scratch.refs.data();
    if (count <= kSmallNode || !scratch.rootBinned) {
        BuildRange(m_Nodes, refs, indices, 0, 0, count, rootBounds, rootCentroids, scratch.tasks, maxLeafSize);
        return;
    }
    Task& root = scratch.root;
    root.node = 0;
    root.begin = 0;
    root.end = count;
    root.bounds = rootBounds;
    root.centroids = rootCentroids;
    BuildBinned(m_Nodes, refs, indices, root, scratch.tasks, maxLeafSize);
}

} // namespace orvcore
