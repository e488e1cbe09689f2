#include <orvcore/render/Renderer.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/light/LightManager.h>
#include <orvkernel/material/MaterialManager.h>
#include <orvcore/pick/GripNodeManager.h>
#include <orvcore/pick/SelectionManager.h>
#include <orvcore/render/Background.h>
#include <orvcore/render/CanvasForeground.h>
#include <orvcore/render/CoordinateRenderer.h>
#include <orvcore/render/ModelRenderContext.h>
#include <orvcore/render/PrepareSceneVisitor.h>
#include <orvcore/render/PrepareSelectionVisitor.h>
#include <orvcore/render/SceneNodeRenderer.h>
#include <orvcore/render/SelectionRenderContext.h>
#include <orvcore/render/ContactShadowRender.h>
#include <orvcore/render/LightsShadowRender.h>
#include <orvcore/render/ShadowRender.h>
#include <orvcore/render/ViewAxisRenderer.h>
#include <orvcore/render/ViewCubeRenderer.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SceneManager.h>
#include <orvcore/widget/CoordinateGridWidget.h>

#include <cmath>

namespace orvcore {

using L = EnumRenderListIndex;

Renderer::Renderer(RenderDevice* device, float dpiScaling) : m_Device(device), m_DpiScaling(dpiScaling) {}

Renderer::~Renderer()
{
    m_ViewCube.reset();
    m_ViewAxis.reset();
    m_ShadowRender.reset();
    // The queues (hilight, selection, model), the model style and the canvas
    // follow as members, in that order.
}

bool Renderer::Initialize(const std::shared_ptr<SceneManager>& manager)
{
    m_ViewAxis = std::make_unique<ViewAxisRenderer>();
    m_ViewAxis->Initialize(this);
    m_ViewCube = std::make_unique<ViewCubeRenderer>();
    m_ViewCube->Initialize(this);
    m_ViewCube->SetVisible(true);
    m_ViewAxis->SetVisible(false);
    m_Canvas = std::make_unique<CanvasForeground>();
    m_Canvas->Initialize(this);
    // Point sizes and line widths are logical pixels: the device scales them.
    if (m_Device)
        m_Device->GetSettings().DpiScaling = std::isfinite(m_DpiScaling) && m_DpiScaling > 0.0f ? m_DpiScaling : 1.0f;

    m_ModelStyle.InitializeForModel();
    m_ModelQueue.Initialize(m_ModelStyle);
    if (manager && manager->GetSelection()) {
        m_SelectionQueue.Initialize(manager->GetSelection()->GetSelectionStyle());
        m_HilightQueue.Initialize(manager->GetSelection()->GetHilightStyle());
    }
    if (manager && manager->GetLightManager())
        manager->GetLightManager()->CreateUniformBlock(m_Device);
    return true;
}

void Renderer::Prepare()
{
    if (!m_Device) {
        Logger::Instance().Waring("RenderDevice is null!");
        return;
    }
    // The shadow renderer is chosen once, by the switches at the first
    // preparation that has one on; an existing one is never replaced, so a
    // later switch to the other kind keeps the first.
    const RenderSettings& settings = m_Device->GetSettings();
    if (settings.ContactShadow) {
        if (!m_ShadowRender)
            m_ShadowRender = std::make_unique<ContactShadowRender>();
    } else if (!settings.Shadow) {
        MaterialManager::Instance().Build(m_Device);
        return;
    } else if (!m_ShadowRender) {
        m_ShadowRender = std::make_unique<LightsShadowRender>();
    }
    m_ShadowRender->Initialize(m_Device);
    MaterialManager::Instance().Build(m_Device);
}

void Renderer::RenderShadowMap(const std::shared_ptr<SceneManager>& manager)
{
    const RenderSettings& settings = m_Device->GetSettings();
    if (!settings.Shadow && !settings.ContactShadow)
        return;
    if (m_ShadowRender)
        m_ShadowRender->Render(manager, m_Device);
}

void Renderer::RenderBackground(const std::shared_ptr<Background>& background, const std::shared_ptr<Camera>& camera)
{
    if (background) {
        background->Render(this, camera);
        const RenderSettings& settings = m_Device->GetSettings();
        if ((settings.Shadow || settings.ContactShadow) && m_ShadowRender)
            m_ShadowRender->DrawPlane(m_Device);
    }
    if (m_ViewAxis && m_ViewAxis->GetVisible())
        m_ViewAxis->Render(this, camera);
}

void Renderer::RenderModel(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera,
                           MaterialInstance* overrideMaterial)
{
    LightManager* lights = manager->GetLightManager();
    m_Device->SetCamera(camera);
    if (lights)
        lights->UpdateUniformBlock(m_Device, camera);

    m_SelectionQueue.Reset();
    m_HilightQueue.Reset();
    m_ModelQueue.Reset();

    ModelRenderContext context(camera, &m_ModelQueue);
    context.SetDisplayFilter(manager->GetDisplayFilter());
    PrepareSceneVisitor visitor(context);
    for (const auto& scene : *manager) {
        if (scene)
            scene->Accept(visitor);
    }
    m_ModelQueue.Sort();
    m_ModelQueue.Render(m_Device, m_Device->GetSettings().Shadow ? lights : nullptr, overrideMaterial);

    // Grip points over everything drawn so far.
    m_Device->ActiveMaterial(m_ModelQueue.GetMaterial(L::Point));
    m_Device->SetDepthTest(false);
    if (manager->GetSelection()) {
        for (const GripNode& grip : *manager->GetSelection()->GetGripNodeManager())
            m_Device->DrawPoint(grip.GetPoint());
    }
    m_Device->SetDepthTest(true);
}

void Renderer::DrawPickedSet(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera,
                             RenderQuene& queue, bool selection)
{
    SelectionManager& selectionManager = *manager->GetSelection();
    SelectionRenderContext context(camera, &queue);
    context.SetDrawCurrentGrip(selection);
    const PickedItemSet& set = selection ? *selectionManager.GetSelection() : *selectionManager.GetHilight();

    if (!set.IsEmpty() || !queue.IsEmpty()) {
        PrepareSelectionVisitor visitor(context);
        for (const PickedItem& item : set.GetPickedItems())
            visitor.Apply(item);
        queue.Sort();
        m_Device->SetPolygonOffset(true, -1.0f, -1.0f);
        queue.RenderWithDefaultMaterial(m_Device);
        m_Device->SetPolygonOffset(false, 0.0f, 0.0f);
    }

    if (context.GetDrawCurrentGrip()) {
        const GripNodeManager& grips = *selectionManager.GetGripNodeManager();
        if (grips.GetHighlightIdx() >= 0) {
            if (std::optional<GripNode> grip = grips.GetNode(grips.GetHighlightIdx())) {
                m_Device->ActiveMaterial(queue.GetMaterial(L::Point));
                m_Device->SetDepthTest(false);
                m_Device->DrawPoint(grip->GetPoint());
                m_Device->SetDepthTest(true);
            }
        }
    }
}

void Renderer::DrawSelection(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera)
{
    if (manager->GetSelection()) {
        DrawPickedSet(manager, camera, m_SelectionQueue, true);
        DrawPickedSet(manager, camera, m_HilightQueue, false);
    }
    const std::shared_ptr<CoordinateGridWidget>& grid = manager->GetCoodinateGrid();
    if (grid && grid->GetVisible()) {
        SceneNodeRenderer nodeRenderer(m_Device, m_ModelStyle.GetMaterial(L::Face));
        grid->Accept(nodeRenderer);
    }
}

void Renderer::RenderForegound(const std::shared_ptr<Scene2D>& scene2D, const std::shared_ptr<Camera>& camera)
{
    if (m_ViewCube && m_ViewCube->GetVisible())
        m_ViewCube->Render(this, camera);
    if (m_Canvas)
        m_Canvas->Render(this, scene2D, camera);
}

void Renderer::Resize(unsigned int width, unsigned int height)
{
    if (m_Device)
        m_Device->Resize(width, height);
}

void Renderer::SetViewCondinateType(EnumViewCoordinateType type)
{
    if (!m_ViewAxis || !m_ViewCube)
        return;
    switch (type) {
    case NoWidget:
        m_ViewAxis->SetVisible(false);
        m_ViewCube->SetVisible(false);
        break;
    case Axis:
        m_ViewAxis->SetVisible(true);
        m_ViewCube->SetVisible(false);
        break;
    case Cube:
        m_ViewAxis->SetVisible(false);
        m_ViewCube->SetVisible(true);
        break;
    }
}

EnumViewCoordinateType Renderer::GetViewCoordinateType() const
{
    if (m_ViewCube && m_ViewCube->GetVisible())
        return Cube;
    if (m_ViewAxis && m_ViewAxis->GetVisible())
        return Axis;
    return NoWidget;
}

CoordinateRenderer* Renderer::GetViewWidget() const
{
    if (m_ViewCube && m_ViewCube->GetVisible())
        return m_ViewCube.get();
    if (m_ViewAxis && m_ViewAxis->GetVisible())
        return m_ViewAxis.get();
    return nullptr;
}

std::pair<bool, EnumStandardView> Renderer::HitTestViewWidget(int x, int y, const std::shared_ptr<Camera>& camera)
{
    CoordinateRenderer* widget = GetViewWidget();
    if (!widget || x < 0 || y < 0)
        return {false, STANDARD_VIEW_NONE};
    // The overlay as the camera sees the view now, drawn or not.
    if (m_Device)
        widget->SyncView(camera, m_Device->GetWidth(), m_Device->GetHeight());
    const auto hit = widget->HitTest(unsigned(x), unsigned(y));
    if (hit.first && hit.second > 0)
        return {true, widget->SyncCamera(camera)};
    return {false, STANDARD_VIEW_NONE};
}

void Renderer::Destroy()
{
    if (!m_Device)
        return;
    if (m_Canvas)
        m_Canvas->Destroy();
    m_Device = nullptr;
}

} // namespace orvcore
