// Streamed points: a ParticleSceneNode of 1,000,000 points receiving 10,000
// new points per frame, on the OpenGL device through a headless EGL context
// (llvmpipe without a GPU).
//
// - BM_StreamWriteUpload: the library's side of a frame: 10,000 SetPosition
//   and 10,000 SetColor calls and the upload they cause (the device syncs the geometry and draws
//   one point, then waits for the GL). Counters: bytes uploaded per frame and
//   the bytes of the points that changed. With box=1 the frame also
//   recomputes the node's box (UpdateBoundingBox over all points).
// - BM_GlFrame1MPoints: the whole frame at 1280 x 720 through the renderer
//   and the basic pipeline (10,000 new points, box update, world update,
//   draw, wait for the GL) with 1 or 4 samples and points 1 or 2 pixels
//   wide; frames per second.
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

#include <benchmark/benchmark.h>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/ParticleSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>

using namespace orvcore;

namespace {

constexpr unsigned int kWidth = 1280, kHeight = 720;
constexpr uint32_t kCapacity = 1000000;
constexpr uint32_t kPerFrame = 10000;

// A scanned terrain: points over a 200 x 200 square on a rolling surface,
// with a little scanner noise, coloured by height.
struct Terrain {
    std::vector<glm::vec3> points, colors;
    explicit Terrain(std::size_t count)
    {
        uint32_t seed = 99;
        const auto uniform = [&seed] {
            seed = seed * 1664525u + 1013904223u;
            return float(seed >> 8) / float(1u << 24);
        };
        points.reserve(count);
        colors.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            const float x = uniform() * 200.0f - 100.0f, y = uniform() * 200.0f - 100.0f;
            const float z = 12.0f * std::sin(x * 0.05f) * std::cos(y * 0.04f) + 0.2f * uniform();
            const float t = (z + 12.5f) / 25.0f;
            points.emplace_back(x, y, z);
            colors.emplace_back(t, 0.3f + 0.4f * (1.0f - std::fabs(2.0f * t - 1.0f)), 1.0f - t);
        }
    }
};

const Terrain& Data()
{
    static const Terrain terrain(kCapacity + kPerFrame * 16); // frames bring points the buffer has not seen
    return terrain;
}

// Fills the node with the first kCapacity points; returns the next index.
uint32_t Fill(ParticleSceneNode& node)
{
    const Terrain& data = Data();
    for (uint32_t i = 0; i < kCapacity; ++i) {
        node.SetPosition(i, data.points[i]);
        node.SetColor(i, data.colors[i]);
    }
    node.UpdateBoundingBox();
    return kCapacity;
}

// The next frame's points, from the stream's running index.
void Stream(ParticleSceneNode& node, uint32_t& next)
{
    const Terrain& data = Data();
    for (uint32_t n = 0; n < kPerFrame; ++n, ++next) {
        const std::size_t k = next % data.points.size();
        node.SetPosition(next, data.points[k]);
        node.SetColor(next, data.colors[k]);
    }
}

void BM_StreamWriteUpload(benchmark::State& state)
{
    auto context = EglContext::Create(kWidth, kHeight, 1);
    if (!context) {
        state.SkipWithError("no headless OpenGL context");
        return;
    }
    GlRenderDevice device(context->GetFramebuffer(), kWidth, kHeight);
    ParticleSceneNode node(kCapacity, glm::vec3(1.0f), 2.0f);
    uint32_t next = Fill(node);
    const bool box = state.range(0) != 0;
    BufferGeometry* geometry = node.GetPrimitive()->GetGeometry().get();
    device.ActiveMaterial(node.GetMaterial());
    device.Draw(geometry, 0, 1); // first sight: the whole buffers
    device.Finish();
    const uint64_t before = device.GetUploadedBytes();
    for (auto _ : state) {
        Stream(node, next);
        if (box)
            node.UpdateBoundingBox();
        device.Draw(geometry, 0, 1);
        device.Finish();
    }
    const double frames = double(state.iterations());
    state.counters["uploaded_bytes_per_frame"] = double(device.GetUploadedBytes() - before) / frames;
    // Positions and colours: three floats each per point written.
    state.counters["changed_bytes_per_frame"] = double(kPerFrame) * 2.0 * 3.0 * sizeof(float);
    state.SetLabel(context->GetRendererName());
}

void BM_GlFrame1MPoints(benchmark::State& state)
{
    auto context = EglContext::Create(kWidth, kHeight, unsigned(state.range(0)));
    if (!context) {
        state.SkipWithError("no headless OpenGL context");
        return;
    }
    GlRenderDevice device(context->GetFramebuffer(), kWidth, kHeight);
    auto manager = std::make_shared<SceneManager>(kWidth, kHeight);
    auto node = std::make_shared<ParticleSceneNode>(kCapacity, glm::vec3(1.0f), float(state.range(1)));
    uint32_t next = Fill(*node);
    manager->GetScene()->AddNode(node);
    manager->UpdateWorld();
    auto camera = manager->GetCamera();
    camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
    CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.1f);

    Renderer renderer(&device, 1.0f);
    renderer.Initialize(manager);
    renderer.SetViewCondinateType(NoWidget);
    BasicPipeline pipeline;
    pipeline.Initialize(&renderer);
    pipeline.Prepare(manager, &renderer);
    pipeline.Render(manager, &renderer, 0.0f);
    device.Finish();
    const uint64_t before = device.GetUploadedBytes();
    for (auto _ : state) {
        Stream(*node, next);
        node->UpdateBoundingBox();
        manager->UpdateWorld();
        pipeline.Render(manager, &renderer, 0.0f);
        device.Finish();
    }
    const double frames = double(state.iterations());
    state.counters["fps"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["uploaded_bytes_per_frame"] = double(device.GetUploadedBytes() - before) / frames;
    state.SetLabel(context->GetRendererName());
}

} // namespace

BENCHMARK(BM_StreamWriteUpload)->ArgName("box")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GlFrame1MPoints)
    ->ArgNames({"samples", "size"})
    ->Args({1, 1})
    ->Args({1, 2})
    ->Args({4, 2})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
