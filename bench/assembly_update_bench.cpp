// World update of scenes shaped like CAD assemblies beside one flat group,
// in the same run: 100,000 nodes where every group holds 2 to 4 children
// (about half the nodes are groups), 15-16 levels, every group rotated and
// moved; and one group of 100,000 leaves. The root moves every iteration,
// so every world matrix and box changes. Reported per node.
#include <algorithm>
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>

#include <orvcore/scene/GeneralSceneNode.h>
#include <orvcore/scene/GroupSceneNode.h>

using namespace orvcore;

namespace {

constexpr std::size_t kTarget = 100000;

std::shared_ptr<SceneNode> Part(std::mt19937& rng)
{
    std::uniform_real_distribution<float> u(-5.0f, 5.0f);
    auto leaf = std::make_shared<GeneralSceneNode>();
    leaf->SetBoundingBox(AxisAlignedBox(glm::vec3(-0.5f), glm::vec3(0.5f)));
    leaf->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(u(rng), u(rng), u(rng))));
    return leaf;
}

struct Assembly {
    std::shared_ptr<GroupSceneNode> root;
    std::size_t nodes = 1, groups = 1, levels = 1;
};

/// Level by level: each group gets 2 (85 %), 3 (10 %) or 4 (5 %)
/// children, of which 95 % are sub-assemblies (rotated, moved groups) and
/// the rest parts; the level that would pass the node budget is made of
/// parts only, as many as the budget leaves (two to four per group).
Assembly MakeAssembly()
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<float> unit(0.0f, 1.0f), angle(0.0f, 6.2831853f), offset(-20.0f, 20.0f);
    Assembly a;
    a.root = std::make_shared<GroupSceneNode>();
    std::vector<std::shared_ptr<GroupSceneNode>> level{a.root};
    while (!level.empty()) {
        std::vector<int> children(level.size());
        std::size_t next = 0;
        for (int& k : children) {
            const float r = unit(rng);
            k = r < 0.85f ? 2 : r < 0.95f ? 3 : 4;
            next += std::size_t(k);
        }
        // The last level: when the next one's groups could not get their
        // own children within the budget. Its parts fill the budget, two to
        // four per group.
        const bool last = a.nodes + next + std::size_t(1.9 * double(next)) > kTarget;
        if (last) {
            std::size_t budget = kTarget - std::min(kTarget, a.nodes + 2 * level.size());
            for (int round = 0; round < 2; ++round)
                for (std::size_t g = 0; g < level.size(); ++g) {
                    children[g] = round == 0 ? 2 : children[g];
                    if (round == 1 && budget > 0 && children[g] < 4) {
                        const std::size_t extra = std::min<std::size_t>(budget, 2);
                        children[g] += int(extra);
                        budget -= extra;
                    }
                }
        }
        std::vector<std::shared_ptr<GroupSceneNode>> below;
        for (std::size_t g = 0; g < level.size(); ++g) {
            for (int c = 0; c < children[g]; ++c) {
                ++a.nodes;
                if (last || unit(rng) >= 0.95f) {
                    level[g]->AddNode(Part(rng));
                    continue;
                }
                auto group = std::make_shared<GroupSceneNode>();
                const glm::vec3 axis = glm::normalize(glm::vec3(unit(rng), unit(rng), unit(rng)) + 0.1f);
                group->SetTransform(
                    glm::rotate(glm::translate(glm::mat4(1.0f), glm::vec3(offset(rng), offset(rng), offset(rng))),
                                angle(rng), axis));
                level[g]->AddNode(group);
                below.push_back(group);
                ++a.groups;
            }
        }
        level.swap(below);
        ++a.levels;
    }
    return a;
}

void PerNode(benchmark::State& state, std::size_t nodes)
{
    state.counters["time_per_node"] = benchmark::Counter(
        double(nodes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["nodes"] = double(nodes);
}

void Run(benchmark::State& state, GroupSceneNode& root)
{
    float x = 0.0f;
    for (auto _ : state) {
        x += 1.0f;
        root.UpdateTransform(glm::translate(glm::mat4(1.0f), glm::vec3(x, 0.0f, 0.0f)));
        benchmark::DoNotOptimize(root.GetWorldBBox());
    }
}

void BM_UpdateAssemblyTree(benchmark::State& state)
{
    const Assembly a = MakeAssembly();
    Run(state, *a.root);
    PerNode(state, a.nodes);
    state.counters["groups"] = double(a.groups);
    state.counters["levels"] = double(a.levels);
}

void BM_UpdateFlatParts(benchmark::State& state)
{
    std::mt19937 rng(12);
    auto root = std::make_shared<GroupSceneNode>();
    for (std::size_t i = 0; i < kTarget; ++i)
        root->AddNode(Part(rng));
    Run(state, *root);
    PerNode(state, kTarget + 1);
}

} // namespace

BENCHMARK(BM_UpdateAssemblyTree)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UpdateFlatParts)->Unit(benchmark::kMillisecond);
