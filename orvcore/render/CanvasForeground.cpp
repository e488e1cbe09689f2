#include <orvcore/render/CanvasForeground.h>

#include <cmath>

#include <orvkernel/device/RenderDevice.h>
#include <orvcore/render/Renderer.h>
#include <orvcore/render/SceneNodeRenderer.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/SceneNode.h>
#include <orvcore/scene/SceneNode2D.h>

namespace orvcore {

CanvasForeground::CanvasForeground() = default;
CanvasForeground::~CanvasForeground() = default;

void CanvasForeground::FitCamera(unsigned int width, unsigned int height)
{
    // One unit per pixel: the orthographic half height equals half the
    // viewport height, which the camera derives from its eye distance.
    m_Camera->Resize(width, height);
    const float distance = 0.5f * float(m_Camera->GetHeight()) / std::tan(0.5f * m_Camera->GetFov());
    m_Camera->LookAt(glm::vec3(0.0f, 0.0f, distance), glm::vec3(0.0f), glm::vec3(0.0f, 1.0f, 0.0f));
    m_Camera->SetClipRange(distance - 1000.0f, distance + 1000.0f);
    m_Camera->UpdateProjection();
}

void CanvasForeground::Initialize(Renderer* renderer)
{
    m_Camera = Camera::CreateOrthographic(1, 1, 1.0f, -1.0f, 1.0f);
    const RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    FitCamera(device ? device->GetWidth() : 1u, device ? device->GetHeight() : 1u);
    m_Camera->UpdateViewMatrix();
}

void CanvasForeground::Render(Renderer* renderer, const std::shared_ptr<Scene2D>& scene2D,
                              const std::shared_ptr<Camera>& camera)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!device || !m_Camera)
        return;
    FitCamera(device->GetWidth(), device->GetHeight());
    device->SetCamera(m_Camera);
    if (scene2D && !scene2D->GetNodes().empty()) {
        // The 2D layer lies over everything: the model's depth must not hide
        // any part of a tag, whatever lies in front of its 3D anchor.
        device->ClearBuffers(CLEAR_DEPTH);
        SceneNodeRenderer nodeRenderer(device, renderer->GetMaterial(EnumRenderListIndex::Face));
        for (const auto& entry : scene2D->GetNodes()) {
            SceneNode2D* node = entry.second.get();
            if (!node || !node->GetVisible())
                continue;
            node->UpdatePosition(camera);
            if (node->GetNode())
                node->GetNode()->Accept(nodeRenderer);
        }
    }
    device->SetCamera(camera);
}

void CanvasForeground::Destroy() {}

} // namespace orvcore
