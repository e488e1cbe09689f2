#include <orvcore/render/ShaderPass.h>

#include <orvkernel/device/GpuShaderProgram.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvcore/render/RenderPassContext.h>
#include <orvcore/render/Renderer.h>

namespace orvcore {

namespace {
std::shared_ptr<RenderTarget> Borrow(RenderTarget* target)
{
    return std::shared_ptr<RenderTarget>(std::shared_ptr<RenderTarget>(), target);
}
constexpr uint32_t kColorAttachment0 = 0x8CE0;
} // namespace

ShaderPass::ShaderPass(const std::shared_ptr<RawShader>& shader) : m_Shader(shader) { m_NeedSwap = true; }

void ShaderPass::Render(Renderer* renderer, RenderPassContext& context)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    if (!device)
        return;
    if (!m_RenderToScreen) {
        device->SetTarget(Borrow(context.GetWriteBuffer()), device->GetCamera());
        if (m_NeedClear)
            device->ClearBuffers(CLEAR_COLOR | CLEAR_DEPTH | CLEAR_STENCIL);
    } else {
        device->SetTarget(nullptr, device->GetCamera());
    }
    device->SetDepthTest(false);
    if (GpuShaderProgram* program = device->ActiveShader(m_Shader.get()))
        program->SetUniform("viewportSize", glm::vec2(float(device->GetWidth()), float(device->GetHeight())));
    device->ActiveTexture(0, Borrow(context.GetReadBuffer()), kColorAttachment0);
    device->DrawScreenQuad();
}

} // namespace orvcore
