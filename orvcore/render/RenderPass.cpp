#include <orvcore/render/RenderPass.h>

#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvcore/render/RenderPassContext.h>
#include <orvcore/render/Renderer.h>

namespace orvcore {

namespace {
// A non-owning shared pointer for handing the context's raw target to the
// device (the device keeps targets by shared pointer).
std::shared_ptr<RenderTarget> Borrow(RenderTarget* target)
{
    return std::shared_ptr<RenderTarget>(std::shared_ptr<RenderTarget>(), target);
}
} // namespace

RenderPass::RenderPass(bool needSwap)
{
    m_NeedSwap = needSwap;
    m_NeedClear = true;
}

void RenderPass::Render(Renderer* renderer, RenderPassContext& context)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!device)
        return;
    const std::shared_ptr<Camera> camera = context.GetCamera();
    device->SetTarget(m_RenderToScreen ? nullptr : Borrow(context.GetWriteBuffer()), camera);
    if (m_NeedClear) {
        device->SetClearColor(glm::vec4(m_ClearColor, m_ClearAlpha));
        device->ClearBuffers(m_ClearDepth ? (CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL) : uint32_t(CLEAR_COLOR));
    }
    if (context.GetSceneManager())
        renderer->RenderModel(context.GetSceneManager(), camera, nullptr);
}

} // namespace orvcore
