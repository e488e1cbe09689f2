#include <orvcore/render/CoordinateRenderer.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/RenderContext.h>
#include <orvcore/render/RenderList.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

namespace {

/// Hands the items of one transparency class to a list.
class OverlayContext : public RenderContext {
public:
    OverlayContext(const std::shared_ptr<Camera>& camera, RenderList& list, bool transparent)
        : RenderContext(camera), m_List(list), m_Transparent(transparent)
    {
    }
    void AddItem(RenderItem& item) override
    {
        const MaterialInstance* material = item.GetOverrideMaterial() ? item.GetOverrideMaterial() : item.GetMaterial();
        if ((material && material->IsTransparent()) == m_Transparent)
            m_List.AddItem(RenderItem(item));
    }

private:
    RenderList& m_List;
    bool m_Transparent;
};

} // namespace

CoordinateRenderer::~CoordinateRenderer() = default;
bool CoordinateRenderer::Initialize(Renderer*) { return true; }
void CoordinateRenderer::SetCoordinateWidgetText(const std::wstring&, const std::wstring&, const std::wstring&) {}
void CoordinateRenderer::Render(Renderer*, const std::shared_ptr<Camera>&) {}
std::pair<bool, unsigned int> CoordinateRenderer::HitTest(unsigned int, unsigned int) { return {false, 0u}; }
EnumStandardView CoordinateRenderer::SyncCamera(const std::shared_ptr<Camera>&) { return STANDARD_VIEW_NONE; }

void CoordinateRenderer::SetPosition(int corner)
{
    if (!m_Camera)
        return;
    const float s = m_ViewportSize;
    glm::vec2 anchor, offset;
    switch (corner) {
    case 0:
        anchor = {1.0f, 1.0f};
        offset = {-s, -s};
        break;
    case 1:
        anchor = {1.0f, 0.0f};
        offset = {-s, s};
        break;
    case 2:
        anchor = {0.0f, 0.0f};
        offset = {-s, s};
        break;
    case 3:
        anchor = {0.0f, 1.0f};
        offset = {s, -s};
        break;
    default:
        m_Camera->UpdateProjection();
        return;
    }
    m_Camera->SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_ANCHOR, anchor));
    m_Camera->SetViewPosition(ViewPosition(ViewPosition::VIEW_POSITION_OFFSET, offset));
    m_Camera->UpdateProjection();
}

void CoordinateRenderer::SyncView(const std::shared_ptr<Camera>& camera, unsigned int width, unsigned int height)
{
    if (!m_Camera || !camera)
        return;
    if (m_Camera->GetWidth() != width || m_Camera->GetHeight() != height)
        m_Camera->Resize(width, height);
    m_Camera->LookAt(camera->GetDirection() * m_Distance, glm::vec3(0.0f), camera->GetUp());
}

void CoordinateRenderer::CollectItems(SceneNode& node, RenderList& list) const
{
    list.Reset();
    for (bool transparent : {false, true}) {
        OverlayContext context(m_Camera, list, transparent);
        node.CollectRenderables(context);
    }
}

bool CoordinateRenderer::DrawItems(Renderer* renderer, const std::shared_ptr<Camera>& camera, const RenderList& list)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!m_Visible || !device || !m_Camera || !camera)
        return false;
    SyncView(camera, device->GetWidth(), device->GetHeight());
    device->SetCamera(m_Camera);
    device->ClearBuffers(CLEAR_DEPTH);
    device->SetPolygonOffset(true, 1.0f, 1.0f);
    list.Render(device);
    device->SetPolygonOffset(false, 0.0f, 0.0f);
    return true;
}

} // namespace orvcore
