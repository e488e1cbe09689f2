// Picking: ray picks on a 1,000,000-triangle mesh, a 1,000,000-point cloud and
// a 1,000,000-segment line set (search tree already built), the tree build
// itself (from the mesh, and from precomputed boxes), and a walk over
// 100,000 small nodes that the bounding-sphere test mostly rejects.
#include <cmath>
#include <memory>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/search/Bvh.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>

using namespace orvcore;

namespace {

constexpr unsigned kWidth = 1280, kHeight = 720;

// A wavy height field of 2 * n * n triangles over [0, n] x [0, n].
std::shared_ptr<BufferGeometry> HeightField(int n)
{
    std::vector<float> positions;
    positions.reserve(std::size_t(n + 1) * (n + 1) * 3);
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i <= n; ++i)
            positions.insert(positions.end(),
                             {float(i), float(j), 4.0f * std::sin(float(i) * 0.05f) * std::cos(float(j) * 0.04f)});
    std::vector<uint32_t> index;
    index.reserve(std::size_t(n) * n * 6);
    for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
            const uint32_t a = uint32_t(j * (n + 1) + i), b = a + 1, c = a + uint32_t(n + 1), d = c + 1;
            index.insert(index.end(), {a, b, d, a, d, c});
        }
    auto g = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(positions.data(), positions.size(), 3));
    g->SetIndex(std::make_shared<ElementAttribute>(index));
    g->ComputeBoundingBox();
    return g;
}

std::shared_ptr<BufferGeometry> Cloud(EnumPrimitiveType type, std::size_t vertices, unsigned seed)
{
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1000.0f), h(-5.0f, 5.0f);
    std::vector<float> positions;
    positions.reserve(vertices * 3);
    for (std::size_t i = 0; i < vertices; ++i) {
        if (type == PRIMITIVE_LINES && (i & 1)) { // short segments
            const float* prev = &positions[positions.size() - 3];
            positions.insert(positions.end(), {prev[0] + h(rng), prev[1] + h(rng), prev[2] + h(rng)});
        } else {
            positions.insert(positions.end(), {u(rng), u(rng), h(rng)});
        }
    }
    auto g = std::make_shared<BufferGeometry>(type);
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(positions.data(), positions.size(), 3));
    g->ComputeBoundingBox();
    return g;
}

struct PickScene {
    std::shared_ptr<Camera> camera;
    std::shared_ptr<GroupSceneNode> root;
    std::vector<glm::ivec2> cursors;
};

// A perspective view that frames the node from above at an angle, and
// window points spread over the node's projection.
PickScene Frame(const std::shared_ptr<SceneNode>& node, unsigned seed)
{
    PickScene s;
    s.root = std::make_shared<GroupSceneNode>();
    s.root->AddNode(node);
    s.root->UpdateTransform(glm::mat4(1.0f));
    const AxisAlignedBox box = s.root->GetWorldBBox();
    s.camera = std::make_shared<Camera>(kWidth, kHeight, box.getCenter() + glm::vec3(0, -1, 1),
                                        box.getCenter(), glm::vec3(0, 0, 1));
    CameraOperator::ZoomToBBox(s.camera, box, 1.0f);
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0.0f, 1.0f);
    const glm::vec3 lo = box.getMinimum(), hi = box.getMaximum();
    for (int i = 0; i < 4096; ++i) {
        const glm::vec3 p(lo.x + (hi.x - lo.x) * u(rng), lo.y + (hi.y - lo.y) * u(rng), 0.0f);
        const glm::vec3 w = CameraOperator::WorldPointToWindowPoint(*s.camera, p);
        s.cursors.emplace_back(int(w.x), int(w.y));
    }
    return s;
}

void RunPicks(benchmark::State& state, PickScene& s)
{
    std::size_t i = 0, hits = 0;
    Raycaster(s.camera, 7, s.cursors[0].x, s.cursors[0].y).HitTest(s.root); // builds the tree
    for (auto _ : state) {
        const glm::ivec2& c = s.cursors[i++ & 4095];
        Raycaster caster(s.camera, 7, c.x, c.y);
        hits += caster.HitTest(s.root);
        benchmark::DoNotOptimize(caster.GetTopItem());
    }
    state.counters["hit_rate"] = double(hits) / double(state.iterations());
}

void BM_PickMesh1M(benchmark::State& state)
{
    auto node = std::make_shared<PrimitiveSceneNode>(HeightField(707), MaterialInstance::Create("mesh"));
    PickScene s = Frame(node, 1);
    RunPicks(state, s);
    state.counters["triangles"] = double(node->GetPrimitive()->GetGeometry()->GetPrimitiveCount());
}

void BM_PickPoints1M(benchmark::State& state)
{
    auto node = std::make_shared<PrimitiveSceneNode>(Cloud(PRIMITIVE_POINTS, 1000000, 2), nullptr);
    PickScene s = Frame(node, 2);
    RunPicks(state, s);
}

// The edges of a 707 x 707 height field as a line list: the wireframe of a
// mesh, 1,000,980 segments.
std::shared_ptr<BufferGeometry> Wireframe(int n)
{
    auto mesh = HeightField(n);
    const BufferAttribute& p = *mesh->GetPositions();
    std::vector<float> positions;
    positions.reserve(std::size_t(n) * (n + 1) * 12);
    auto edge = [&](int a, int b) {
        const glm::vec3 u = p.GetVec3(std::size_t(a)), v = p.GetVec3(std::size_t(b));
        positions.insert(positions.end(), {u.x, u.y, u.z, v.x, v.y, v.z});
    };
    for (int j = 0; j <= n; ++j)
        for (int i = 0; i < n; ++i) {
            edge(j * (n + 1) + i, j * (n + 1) + i + 1);
            edge(i * (n + 1) + j, (i + 1) * (n + 1) + j);
        }
    auto g = std::make_shared<BufferGeometry>(PRIMITIVE_LINES);
    g->SetAttribute(ATTRIBUTE_POSITION, std::make_shared<BufferAttribute>(positions.data(), positions.size(), 3));
    g->ComputeBoundingBox();
    return g;
}

void BM_PickSegments1M(benchmark::State& state)
{
    auto node = std::make_shared<PrimitiveSceneNode>(Wireframe(707), nullptr);
    PickScene s = Frame(node, 3);
    RunPicks(state, s);
    state.counters["segments"] = double(node->GetPrimitive()->GetGeometry()->GetPrimitiveCount());
}

// A harder case: 1,000,000 short segments (up to 8.7 units) scattered with
// random directions over 1000 x 1000, so that their boxes overlap heavily.
void BM_PickScatteredSegments1M(benchmark::State& state)
{
    auto node = std::make_shared<PrimitiveSceneNode>(Cloud(PRIMITIVE_LINES, 2000000, 3), nullptr);
    PickScene s = Frame(node, 3);
    RunPicks(state, s);
}

void BM_BuildTree1M(benchmark::State& state)
{
    auto geometry = HeightField(707);
    const Ray ray(glm::vec3(300, 300, 50), glm::vec3(0, 0, -1));
    for (auto _ : state) {
        PrimitiveShape shape(geometry, nullptr);
        benchmark::DoNotOptimize(shape.ComputeNearestPoint(ray)); // first query builds
    }
    state.SetItemsProcessed(state.iterations() * int64_t(geometry->GetPrimitiveCount()));
}

// The tree construction alone: the same million triangles' boxes are
// computed once, outside the timing, and the tree is built over them (the
// search above also gathers the boxes from the mesh and copies the leaves'
// vertex numbers).
void BM_BvhBuildFromBoxes1M(benchmark::State& state)
{
    auto geometry = HeightField(707);
    const auto* positions = reinterpret_cast<const float*>(geometry->GetPositions()->GetData());
    const auto* index = static_cast<const uint32_t*>(geometry->GetIndex()->GetData());
    const std::size_t triangles = geometry->GetPrimitiveCount();
    std::vector<glm::vec3> lo(triangles), hi(triangles);
    for (std::size_t t = 0; t < triangles; ++t) {
        glm::vec3 v[3];
        for (int k = 0; k < 3; ++k)
            v[k] = glm::make_vec3(positions + 3 * std::size_t(index[3 * t + std::size_t(k)]));
        lo[t] = glm::min(v[0], glm::min(v[1], v[2]));
        hi[t] = glm::max(v[0], glm::max(v[1], v[2]));
    }
    const AxisAlignedBox& box = geometry->GetSafeBoudingBox();
    for (auto _ : state) {
        Bvh tree;
        tree.Build(uint32_t(triangles), [&](uint32_t i, glm::vec3& a, glm::vec3& b) {
            a = lo[i];
            b = hi[i];
            return true;
        }, 4, box.getMinimum(), box.getMaximum());
        benchmark::DoNotOptimize(tree.GetNodes().data());
    }
    state.SetItemsProcessed(state.iterations() * int64_t(triangles));
}

// 100,000 boxes of 12 triangles on a 316 x 316 grid; a pick visits every
// node and tests its bounding sphere, and only the few under the cursor go on.
void BM_PickManySmallNodes(benchmark::State& state)
{
    auto box = std::make_shared<PrimitiveShape>(GeometryBuilder::CreateBox(glm::vec3(1.0f)), nullptr);
    auto grid = std::make_shared<GroupSceneNode>();
    for (int i = 0; i < 100000; ++i) {
        auto node = std::make_shared<PrimitiveSceneNode>(box);
        node->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 316) * 2.0f, float(i / 316) * 2.0f, 0)));
        grid->AddNode(node);
    }
    PickScene s = Frame(grid, 4);
    RunPicks(state, s);
    state.counters["time_per_node"] = benchmark::Counter(
        100000.0, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

} // namespace

BENCHMARK(BM_PickMesh1M)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PickPoints1M)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PickSegments1M)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_PickScatteredSegments1M)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BuildTree1M)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BvhBuildFromBoxes1M)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PickManySmallNodes)->Unit(benchmark::kMicrosecond);
