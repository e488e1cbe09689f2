// One frame's CPU work on the model side: 100,000 primitive nodes in 1,000
// groups, half of them outside the view. Each iteration moves 1% of the
// nodes, runs SceneManager::UpdateWorld, collects the model queue with
// PrepareSceneVisitor and sorts it. Heap allocations are counted through the
// global operator new and reported per frame.
// Two scenes: every node on one shared box shape with the coordinate grid
// off, or every node its own shape and box geometry, as imported parts
// are, with the manager's default grid on (its lines collected into the
// same queue after the scenes; the renderer draws them straight away).
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/ModelRenderContext.h>
#include <orvcore/render/PrepareSceneVisitor.h>
#include <orvcore/render/RenderQuene.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/CoordinateGridWidget.h>

#include "AllocationCount.h"


using namespace orvcore;

namespace {

// The scene of a frame: all nodes on one shape without the grid, or every
// node its own shape and geometry with the grid.
enum FrameScene : int64_t { kSharedShape = 0, kOwnShapes = 1 };

void BM_FrameUpdateAndCollect(benchmark::State& state)
{
    constexpr int kGroups = 1000, kPerGroup = 100, kNodes = kGroups * kPerGroup;
    const bool own = state.range(0) == kOwnShapes;
    auto manager = std::make_shared<SceneManager>(1280, 720);
    if (!own)
        manager->SetCoodinateGrid(nullptr);
    auto material = MeshPhongMaterial::Create("bench.box");
    auto box = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material);

    // Groups on a 60 x 17 layout, 1800 x 510 units, twice as wide as the
    // camera's view, so that half of them fall outside it.
    std::vector<std::shared_ptr<PrimitiveSceneNode>> nodes;
    nodes.reserve(kNodes);
    for (int g = 0; g < kGroups; ++g) {
        auto group = std::make_shared<GroupSceneNode>();
        group->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(g % 60) * 30.0f, float(g / 60) * 30.0f, 0)));
        for (int i = 0; i < kPerGroup; ++i) {
            auto node = std::make_shared<PrimitiveSceneNode>(
                own ? std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), material) : box);
            node->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 10) * 2.5f, float(i / 10) * 2.5f, 0)));
            group->AddNode(node);
            nodes.push_back(node);
        }
        manager->GetScene()->AddNode(group);
    }
    manager->UpdateWorld();
    // Look at the left half of the layout: 900 x 510 at 16:9.
    auto camera = manager->GetCamera();
    camera->LookAt(glm::vec3(450, 255, 500), glm::vec3(450, 255, 0), glm::vec3(0, 1, 0));
    const AxisAlignedBox left(glm::vec3(0, 0, -1), glm::vec3(900, 510, 1));
    CameraOperator::ZoomToBBox(camera, left, 1.0f);
    camera->SetZoomFactor(camera->GetOrthoHalfHeight() / 255.0f);

    RenderQuene queue;
    std::mt19937 rng(1);
    std::uniform_int_distribution<int> pick(0, kNodes - 1);
    std::vector<int> moved(kNodes / 100);
    long frames = 0, allocations = 0;
    std::size_t drawn = 0, lines = 0;
    for (auto _ : state) {
        state.PauseTiming();
        for (int& m : moved)
            m = pick(rng);
        state.ResumeTiming();
        const long before = AllocationCount();

        for (int m : moved) {
            glm::mat4 t = nodes[std::size_t(m)]->GetTransform();
            t[3].z = t[3].z > 0.0f ? 0.0f : 0.5f;
            nodes[std::size_t(m)]->SetTransform(t);
            nodes[std::size_t(m)]->RequstUpdate();
        }
        manager->UpdateWorld(true);
        queue.Reset();
        ModelRenderContext context(camera, &queue);
        context.SetDisplayFilter(manager->GetDisplayFilter());
        PrepareSceneVisitor visitor(context);
        for (const auto& scene : *manager)
            scene->Accept(visitor);
        if (const auto& grid = manager->GetCoodinateGrid(); grid && grid->GetVisible())
            grid->Accept(visitor);
        queue.Sort();

        drawn = queue.GetRenderList(EnumRenderListIndex::Face).GetItemCount();
        lines = queue.GetRenderList(EnumRenderListIndex::Line).GetItemCount();
        if (frames++ > 0) // the first frame grows the lists
            allocations += AllocationCount() - before;
    }
    state.counters["time_per_node"] =
        benchmark::Counter(double(kNodes), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["allocations_per_frame"] = frames > 1 ? double(allocations) / double(frames - 1) : 0.0;
    state.counters["items_drawn"] = double(drawn);
    state.counters["lines_drawn"] = double(lines);
    state.SetLabel(own ? "own shape per node, grid on" : "one shared shape, grid off");
}

} // namespace

// scene: 0 one shared shape, grid off; 1 every node its own shape, grid on.
BENCHMARK(BM_FrameUpdateAndCollect)->ArgName("scene")->Arg(kSharedShape)->Arg(kOwnShapes)->Unit(benchmark::kMillisecond);
