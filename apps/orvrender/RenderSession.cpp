#include <orvrender/RenderSession.h>

#include <chrono>
#include <cstdio>

#include <nlohmann/json.hpp>

#include <orvkernel/gl/EglContext.h>
#include <orvkernel/gl/GlRenderDevice.h>
#include <orvcore/pick/FrustumCaster.h>
#include <orvcore/pick/Raycaster.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/BasicPipeline.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/SceneManager.h>
#include <orvrender/SceneEffects.h>

namespace orvrender {

using namespace orvcore;

namespace {

const char* ShapeTypeName(EnumShapeFilter type)
{
    switch (type) {
    case SHAPE_FILTER_VERTEX: return "vertex";
    case SHAPE_FILTER_EDGE: return "edge";
    case SHAPE_FILTER_FACE: return "face";
    default: return "shape";
    }
}

// The demo scene when no file is given: a small cell of built-in shapes.
const char* kDemoScene = R"({
  "camera": {"fit": "isometric"},
  "grid": {"visible": true, "cellSize": 50, "fit": true},
  "nodes": [
    {"type": "box", "name": "base plate", "size": [400, 260, 16], "translate": [0, 0, -8], "color": [0.55, 0.58, 0.62]},
    {"type": "box", "name": "block", "size": [120, 80, 60], "translate": [-80, 20, 30], "color": [0.75, 0.78, 0.82]},
    {"type": "cylinder", "name": "pin", "radius": 20, "height": 90, "translate": [90, 40, 45], "color": [0.9, 0.5, 0.2]},
    {"type": "cone", "name": "tip", "radius": 30, "height": 50, "translate": [90, -70, 25], "color": [0.3, 0.5, 0.85]},
    {"type": "text", "name": "label", "text": "orvcore", "height": 24, "form": "mesh", "translate": [-150, -110, 1], "color": [0.1, 0.1, 0.4]},
    {"type": "tag", "name": "pin tag", "text": "Pin 20", "target": [90, 40, 90], "offset": [220, 180]}
  ],
  "select": ["block"],
  "hover": ["pin"]
})";

} // namespace

std::string PickReport::ToJson() const
{
    nlohmann::json j;
    j["hit"] = hit;
    if (!overlay.empty()) {
        j["overlay"] = overlay;
        j["element"] = element;
        j["view"] = view;
        return j.dump();
    }
    if (hit) {
        j["node"] = name;
        j["userId"] = userId;
        j["shapeType"] = shapeType;
        j["shapeIndex"] = shapeIndex;
        j["primitiveIndex"] = primitiveIndex;
        j["position"] = {position.x, position.y, position.z};
        j["distance"] = distance;
    } else {
        j["groundPoint"] = {position.x, position.y, position.z};
    }
    return j.dump();
}

RenderSession::RenderSession(unsigned int width, unsigned int height, unsigned int samples)
    : m_Width(width), m_Height(height)
{
    m_Context = EglContext::Create(width, height, samples);
    if (!m_Context) {
        m_Error = "no OpenGL context could be made (EGL device or Mesa surfaceless platform)";
        return;
    }
    GlRenderDeviceOptions options;
    options.TargetSamples = samples;
    m_Device = std::make_unique<GlRenderDevice>(m_Context->GetFramebuffer(), width, height, options);
    m_Manager = std::make_shared<SceneManager>(width, height);
    m_Renderer = std::make_unique<Renderer>(m_Device.get(), 1.0f);
    m_Pipeline = std::make_unique<BasicPipeline>();
    m_Ready = true;
}

RenderSession::~RenderSession()
{
    m_Pipeline.reset();
    m_Renderer.reset();
    m_Manager.reset();
    m_Device.reset();
    m_Context.reset();
}

bool RenderSession::LoadFile(const std::string& path, std::string& error)
{
    return m_Ready && LoadSceneFile(path, *m_Manager, m_Info, error) && Prepare();
}

bool RenderSession::LoadDemo(std::string& error)
{
    return m_Ready && LoadSceneText(kDemoScene, "demo", ".", *m_Manager, m_Info, error) && Prepare();
}

bool RenderSession::Prepare()
{
    m_Renderer->Initialize(m_Manager);
    ApplySceneEffects(m_Info.effects, *m_Device, *m_Renderer);
    m_Pipeline->Initialize(m_Renderer.get());
    m_Pipeline->Prepare(m_Manager, m_Renderer.get());
    m_Manager->UpdateWorld();
    m_Prepared = true;
    return true;
}

PickReport RenderSession::Report(const PickedItem& item) const
{
    PickReport r;
    r.position = item.GetPosition();
    if (item.IsNull())
        return r;
    r.hit = true;
    r.node = item.GetNode();
    r.name = NameOf(m_Info, item.GetNode());
    r.userId = item.GetNode()->GetUserId();
    r.shapeType = ShapeTypeName(item.GetShapeType());
    r.shapeIndex = item.GetShapeIndex();
    r.primitiveIndex = item.GetPrimitiveIndex();
    r.distance = item.GetPoint().GetDistance();
    return r;
}

PickReport RenderSession::Pick(int x, int y)
{
    PickReport overlay;
    if (!m_Ready || PickOverlay(x, y, false, overlay))
        return overlay;
    Raycaster caster(m_Manager->GetCamera(), m_Manager->GetSelection()->GetPickFilter(), x, y);
    caster.HitTest(m_Manager);
    return Report(caster.GetTopItem());
}

std::vector<PickReport> RenderSession::PickRect(int x1, int y1, int x2, int y2)
{
    std::vector<PickReport> reports;
    if (!m_Ready)
        return reports;
    FrustumCaster caster(m_Manager->GetCamera(), m_Manager->GetSelection()->GetPickFilter(), glm::ivec2(x1, y1),
                         glm::ivec2(x2, y2));
    caster.HitTest(m_Manager);
    for (const PickedItem& item : caster.GetIntersects())
        reports.push_back(Report(item));
    return reports;
}

PickReport RenderSession::Select(int x, int y)
{
    PickReport overlay;
    if (!m_Ready || PickOverlay(x, y, true, overlay))
        return overlay; // the camera has turned to the element's view
    Raycaster caster(m_Manager->GetCamera(), m_Manager->GetSelection()->GetPickFilter(), x, y);
    caster.HitTest(m_Manager);
    PickedItem item = caster.GetTopItem();
    m_Manager->GetSelection()->Select(item, false);
    return Report(item);
}

PickReport RenderSession::Hover(int x, int y)
{
    if (!m_Ready)
        return {};
    Raycaster caster(m_Manager->GetCamera(), m_Manager->GetSelection()->GetPickFilter(), x, y);
    caster.HitTest(m_Manager);
    PickedItem item = caster.GetTopItem();
    m_Manager->GetSelection()->Hilight(item);
    return Report(item);
}

void RenderSession::ApplyFileSelection()
{
    if (!m_Ready)
        return;
    auto find = [this](const std::string& name) -> SceneNode* {
        for (const auto& entry : m_Info.names) {
            if (entry.second == name)
                return const_cast<SceneNode*>(entry.first);
        }
        return nullptr;
    };
    for (const std::string& name : m_Info.select) {
        if (SceneNode* node = find(name))
            m_Manager->GetSelection()->Select(
                PickedItem(node, IntersectPoint(SHAPE_FILTER_NONE, 0, node->GetWorldBBox().getCenter(), 0.0f)), true);
    }
    for (const std::string& name : m_Info.hover) {
        if (SceneNode* node = find(name))
            m_Manager->GetSelection()->Hilight(
                PickedItem(node, IntersectPoint(SHAPE_FILTER_NONE, 0, node->GetWorldBBox().getCenter(), 0.0f)));
    }
}

double RenderSession::Render()
{
    if (!m_Ready)
        return 0.0;
    if (!m_Prepared)
        Prepare();
    const auto start = std::chrono::steady_clock::now();
    m_Manager->UpdateWorld();
    m_Pipeline->Render(m_Manager, m_Renderer.get(), 0.0f);
    const auto end = std::chrono::steady_clock::now();
    return std::chrono::duration<double, std::milli>(end - start).count();
}

bool RenderSession::SavePng(const std::string& path)
{
    if (!m_Ready)
        return false;
    auto image = m_Device->ReadPixels();
    return image && GlRenderDevice::SavePng(path, image->GetWidth(), image->GetHeight(), image->GetPixels().data());
}

std::shared_ptr<ImageTexture2D> RenderSession::ReadPixels()
{
    return m_Ready ? m_Device->ReadPixels() : nullptr;
}

} // namespace orvrender
