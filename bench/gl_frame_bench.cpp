// A whole frame of 10,000 nodes (each a 12-triangle box with its 12 edges,
// one material kind) at 1280 x 720 through the renderer and the basic
// pipeline: on the OpenGL device (llvmpipe without a GPU; frames per second
// and buffer uploads per frame) single-sampled and with 4x multisampling,
// and once on a device that draws nothing, which leaves the library's own
// CPU time per frame. The OpenGL frames report wall time per frame, and as
// CPU time that of the whole process: llvmpipe rasterises on threads of
// its own. The 4x frame is measured again with the contact shadow and with
// the view cube overlay. Frames are queued to the device back to back, or
// (finish 1) each ended by glFinish, as peers are timed.
#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>
#include <glm/gtc/matrix_transform.hpp>

#include <orvkernel/camera/CameraOperator.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include "AllocationCount.h"

using namespace orvcore;

namespace {

constexpr unsigned int kWidth = 1280, kHeight = 720;

// A device that accepts every call and draws nothing.
class NullDevice : public RenderDevice {
public:
    unsigned int GetWidth() const override { return kWidth; }
    unsigned int GetHeight() const override { return kHeight; }
    void Resize(unsigned int, unsigned int) override {}
    void SetCamera(const std::shared_ptr<Camera>& camera) override { m_Camera = camera; }
    const std::shared_ptr<Camera>& GetCamera() const override { return m_Camera; }
    void SetTarget(const std::shared_ptr<RenderTarget>& target, const std::shared_ptr<Camera>&) override
    {
        m_Previous = m_Target;
        m_Target = target;
    }
    const std::shared_ptr<RenderTarget>& GetTarget() const override { return m_Target; }
    const std::shared_ptr<RenderTarget>& GetPreviousTarget() const override { return m_Previous; }
    void AddTarget(const std::string& name, const std::shared_ptr<RenderTarget>& target) override
    {
        m_Targets[name] = target;
    }
    std::shared_ptr<RenderTarget> FindTarget(const std::string& name) const override
    {
        const auto it = m_Targets.find(name);
        return it == m_Targets.end() ? nullptr : it->second;
    }
    void SetClearColor(const glm::vec4&) override {}
    void ClearBuffers(uint32_t) override {}
    void SetDepthTest(bool) override {}
    void SetPolygonOffset(bool, float, float) override {}
    GpuShaderProgram* ActiveMaterial(const std::shared_ptr<MaterialInstance>&) override { return nullptr; }
    GpuShaderProgram* _ActiveMaterial(MaterialInstance*) override { return nullptr; }
    GpuShaderProgram* ActiveShader(MaterialInstance*) override { return nullptr; }
    void ActiveTexture(uint32_t, const std::shared_ptr<Texture>&) override {}
    void ActiveTexture(uint32_t, const std::shared_ptr<RenderTarget>&, uint32_t) override {}
    void Draw(PrimitiveShape*, const glm::mat4&) override { ++draws; }
    void Draw(BufferGeometry*, uint32_t, uint32_t) override {}
    void DrawPoint(const glm::vec3&) override {}
    void DrawScreenQuad() override {}
    void BuildTemplate(const std::shared_ptr<MaterialTemplate>&) override {}
    void Gc() override {}
    long draws = 0;

private:
    std::shared_ptr<Camera> m_Camera;
    std::shared_ptr<RenderTarget> m_Target, m_Previous;
    std::map<std::string, std::shared_ptr<RenderTarget>> m_Targets;
};

// 100 x 100 boxes with their edges; every box node has its own geometry, as
// imported parts would, or (`shared`) all of them the same box and edges,
// as repeated parts (fasteners, rack units) would: the device then draws
// each sorted run of them as one instanced call. `coloured`: every box
// also has face and edge materials of its own, the faces each in a colour
// of its own, as an imported assembly's parts come.
std::shared_ptr<SceneManager> Cell(bool shared = false, bool coloured = false)
{
    auto manager = std::make_shared<SceneManager>(kWidth, kHeight);
    auto face = MeshPhongMaterial::Create("bench.face");
    auto edge = BasicMaterial::Create("bench.edge");
    edge->SetColor(glm::vec3(0.1f));
    const auto box = GeometryBuilder::CreateBox(glm::vec3(8.0f));
    const auto boxEdges = GeometryBuilder::CreateBoxEdges(glm::vec3(8.0f));
    for (int i = 0; i < 10000; ++i) {
        if (coloured) {
            face = MeshPhongMaterial::Create("bench.face");
            face->SetColor(glm::vec3(float(i % 100) / 100.0f, 0.5f, float(i / 100) / 100.0f));
            edge = BasicMaterial::Create("bench.edge");
            edge->SetColor(glm::vec3(0.1f));
        }
        auto shape = std::make_shared<CompoundShape>();
        shape->AddPrimitive(std::make_shared<PrimitiveShape>(
            shared ? box : GeometryBuilder::CreateBox(glm::vec3(8.0f)), face));
        shape->AddPrimitive(std::make_shared<PrimitiveShape>(
            shared ? boxEdges : GeometryBuilder::CreateBoxEdges(glm::vec3(8.0f)), edge));
        auto node = std::make_shared<ShapeSceneNode>(shape);
        node->SetTransform(glm::translate(glm::mat4(1.0f), glm::vec3(float(i % 100) * 10.0f, float(i / 100) * 10.0f, 4.0f)));
        manager->GetScene()->AddNode(node);
    }
    manager->UpdateWorld();
    auto camera = manager->GetCamera();
    camera->SetProjectionType(Camera::PROJECTION_PERSPECTIVE);
    CameraOperator::SetStandardView(camera, STANDARD_VIEW_ISOMETRIC, manager->GetSceneBBox(), 1.1f);
    return manager;
}

// What a frame draws besides the model: nothing, the contact shadow (blur
// 1, the device's default), the view cube overlay; or the model with one
// box moved every frame, alone and with the contact shadow (whose map is
// then drawn every frame: an unchanged model keeps its map).
// Shared geometry (5, 6) is the plain model with one box and edge geometry
// for all nodes, drawn instanced (5) or one by one (6: instancing off).
// 7 is the plain model with the merging of small parts off: every box and
// every edge set its own draw. 8 gives every box materials of its own in
// its own colour, merged (tinted); 9 the same with merging off.
enum Extra : int64_t {
    kPlain = 0,
    kContactShadow = 1,
    kViewCube = 2,
    kMoving = 3,
    kMovingContactShadow = 4,
    kShared = 5,
    kSharedNoInstancing = 6,
    kPlainNoBatching = 7,
    kColoured = 8,
    kColouredNoBatching = 9
};
const char* const kExtraNames[] = {"",
                                   " + contact shadow",
                                   " + view cube",
                                   ", one box moving",
                                   ", one box moving + contact shadow",
                                   ", shared geometry",
                                   ", shared geometry, instancing off",
                                   ", merging off",
                                   ", own colours",
                                   ", own colours, merging off"};

// `finish`: the OpenGL device whose work is waited for at the end of every
// frame, or null to queue frames back to back.
template <typename AfterFirstFrame>
void RunFrames(benchmark::State& state, RenderDevice& device, const std::shared_ptr<SceneManager>& manager,
               AfterFirstFrame afterFirstFrame, Extra extra = kPlain, GlRenderDevice* finish = nullptr)
{
    Renderer renderer(&device, 1.0f);
    renderer.Initialize(manager);
    renderer.SetViewCondinateType(extra == kViewCube ? Cube : NoWidget);
    device.GetSettings().ContactShadow = extra == kContactShadow || extra == kMovingContactShadow;
    device.GetSettings().Instancing = extra != kSharedNoInstancing;
    device.GetSettings().Batching = extra != kPlainNoBatching && extra != kColouredNoBatching;
    SceneNode* moving = manager->GetScene()->GetNodes().begin()->second.get();
    bool raised = false;
    BasicPipeline pipeline;
    pipeline.Initialize(&renderer);
    pipeline.Prepare(manager, &renderer);
    pipeline.Render(manager, &renderer, 0.0f); // the first frame uploads everything
    if (finish)
        finish->Finish();
    afterFirstFrame();
    const long allocationsBefore = AllocationCount();
    for (auto _ : state) {
        if (extra == kMoving || extra == kMovingContactShadow) {
            raised = !raised; // up by one, down again
            moving->SetTransform(glm::translate(moving->GetTransform(), glm::vec3(0.0f, 0.0f, raised ? 1.0f : -1.0f)));
            moving->RequstUpdate();
        }
        manager->UpdateWorld();
        pipeline.Render(manager, &renderer, 0.0f);
        if (finish)
            finish->Finish();
    }
    state.counters["fps"] = benchmark::Counter(1.0, benchmark::Counter::kIsIterationInvariantRate);
    // The library's own heap allocations (operator new; not the driver's).
    state.counters["allocations_per_frame"] =
        double(AllocationCount() - allocationsBefore) / double(std::max<int64_t>(state.iterations(), 1));
}

void BM_GlFrame10kBoxes(benchmark::State& state)
{
    auto context = EglContext::Create(kWidth, kHeight, unsigned(state.range(0)));
    if (!context) {
        state.SkipWithError("no headless OpenGL context");
        return;
    }
    GlRenderDevice device(context->GetFramebuffer(), kWidth, kHeight);
    const Extra extra = Extra(state.range(1));
    auto manager =
        Cell(extra == kShared || extra == kSharedNoInstancing, extra == kColoured || extra == kColouredNoBatching);
    uint64_t afterFirst = 0;
    uint64_t drawsAfterFirst = 0;
    RunFrames(
        state, device, manager,
        [&] {
            afterFirst = device.GetUploadCount();
            drawsAfterFirst = device.GetDrawCount();
        },
        extra, state.range(2) != 0 ? &device : nullptr);
    state.counters["draws_per_frame"] = double(device.GetDrawCount() - drawsAfterFirst) / double(state.iterations());
    // Buffer uploads made by the frames after the first (the scene does not change).
    state.counters["uploads_per_frame"] = double(device.GetUploadCount() - afterFirst) / double(state.iterations());
    state.SetLabel(context->GetRendererName() + kExtraNames[extra] + (state.range(2) != 0 ? ", glFinish" : ""));
}

void BM_LibraryFrame10kBoxes(benchmark::State& state)
{
    NullDevice device;
    auto manager = Cell();
    const Extra extra = Extra(state.range(0));
    RunFrames(state, device, manager, [] {}, extra);
    state.SetLabel(kExtraNames[extra]);
    state.counters["draws_per_frame"] = double(device.draws) / double(state.iterations() + 1);
}

} // namespace

// extra: 0 the model alone, 1 with the contact shadow, 2 with the view cube,
// 3 one box moving, 4 one box moving with the contact shadow, 5 all boxes
// of one shared geometry, 6 the same with instancing off, 7 the model with
// the merging of small parts off, 8 every box in materials and a colour of
// its own, 9 the same with merging off; finish: 1 every frame ended by
// glFinish. The single-sampled finished frames are those
// compared with peers whose offscreen buffers have no multisampling.
BENCHMARK(BM_GlFrame10kBoxes)
    ->ArgNames({"samples", "extra", "finish"})
    ->Args({1, kPlain, 0})
    ->Args({1, kPlain, 1})
    ->Args({1, kPlainNoBatching, 1})
    ->Args({1, kShared, 1})
    ->Args({1, kSharedNoInstancing, 1})
    ->Args({1, kColoured, 1})
    ->Args({1, kColouredNoBatching, 1})
    ->Args({4, kPlain, 0})
    ->Args({4, kContactShadow, 0})
    ->Args({4, kViewCube, 0})
    ->Args({4, kMoving, 0})
    ->Args({4, kMovingContactShadow, 0})
    ->Args({4, kShared, 0})
    ->Args({4, kSharedNoInstancing, 0})
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0)
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK(BM_LibraryFrame10kBoxes)
    ->ArgName("extra")
    ->DenseRange(kPlain, kMovingContactShadow)
    ->Unit(benchmark::kMillisecond);
