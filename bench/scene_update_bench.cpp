// World-transform propagation: GroupSceneNode::UpdateTransform over 100,000
// nodes, as one flat group (static, and moved every iteration) and as a
// ten-level tree moved every iteration. Reported per node.
#include <cmath>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

using namespace orvcore;

namespace {

constexpr int kNodes = 100000;

std::shared_ptr<SceneNode> Leaf(int i)
{
    auto leaf = std::make_shared<GeneralSceneNode>();
    leaf->SetBoundingBox(AxisAlignedBox(glm::vec3(-0.5f), glm::vec3(0.5f)));
    leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 100), float(i / 100 % 100), 0.0f)));
    return leaf;
}

std::shared_ptr<GroupSceneNode> FlatGroup()
{
    auto root = std::make_shared<GroupSceneNode>();
    for (int i = 0; i < kNodes; ++i)
        root->AddNode(Leaf(i));
    return root;
}

void ReportPerNode(benchmark::State& state)
{
    state.counters["time_per_node"] =
        benchmark::Counter(double(kNodes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetItemsProcessed(state.iterations() * kNodes);
}

void BM_UpdateFlatGroup(benchmark::State& state)
{
    auto root = FlatGroup();
    const glm::mat4 identity(1.0f);
    for (auto _ : state) {
        root->UpdateTransform(identity);
        benchmark::DoNotOptimize(root->GetWorldBBox());
    }
    ReportPerNode(state);
}

// The same group moved every iteration: every world matrix and box changes.
void BM_UpdateFlatGroupMoving(benchmark::State& state)
{
    auto root = FlatGroup();
    float x = 0.0f;
    for (auto _ : state) {
        x += 1.0f;
        root->UpdateTransform(glm::translate(glm::mat4(1.0f), glm::vec3(x, 0.0f, 0.0f)));
        benchmark::DoNotOptimize(root->GetWorldBBox());
    }
    ReportPerNode(state);
}

// Ten levels: level sizes grow geometrically so that the whole tree holds
// 100,000 nodes; levels 0-8 are groups, level 9 leaves.
void BM_UpdateDeepTree(benchmark::State& state)
{
    constexpr int kLevels = 10;
    // b^0 + ... + b^9 = 100000  ->  b ~ 3.3
    double lo = 1.0, hi = 10.0;
    for (int it = 0; it < 100; ++it) {
        const double b = 0.5 * (lo + hi);
        double sum = 0.0;
        for (int l = 0; l < kLevels; ++l)
            sum += std::pow(b, l);
        (sum < kNodes ? lo : hi) = b;
    }
    std::vector<int> sizes(kLevels);
    int total = 0;
    for (int l = 0; l < kLevels; ++l) {
        sizes[l] = int(std::lround(std::pow(lo, l)));
        total += sizes[l];
    }
    sizes[kLevels - 1] += kNodes - total; // exact count

    std::vector<std::shared_ptr<GroupSceneNode>> parents{std::make_shared<GroupSceneNode>()};
    auto root = parents[0];
    int made = 1;
    for (int l = 1; l < kLevels; ++l) {
        std::vector<std::shared_ptr<GroupSceneNode>> next;
        for (int i = 0; i < sizes[l]; ++i) {
            const auto& parent = parents[size_t(i) * parents.size() / size_t(sizes[l])];
            if (l + 1 < kLevels) {
                auto group = std::make_shared<GroupSceneNode>();
                group->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(1.0f, 0.0f, 0.0f)));
                parent->AddNode(group);
                next.push_back(group);
            } else {
                parent->AddNode(Leaf(i));
            }
            ++made;
        }
        if (!next.empty())
            parents.swap(next);
    }
    if (made != kNodes)
        state.SkipWithError("tree has the wrong size");

    // The root moves every iteration, so every world matrix and box changes.
    float x = 0.0f;
    for (auto _ : state) {
        x += 1.0f;
        root->UpdateTransform(glm::translate(glm::mat4(1.0f), glm::vec3(x, 0.0f, 0.0f)));
        benchmark::DoNotOptimize(root->GetWorldBBox());
    }
    ReportPerNode(state);
}

} // namespace

BENCHMARK(BM_UpdateFlatGroup)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateFlatGroupMoving)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateDeepTree)->Unit(benchmark::kMillisecond);
