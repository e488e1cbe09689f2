#include <orvcore/render/EffectComposer.h>

#include <orvcommon/Logger.h>
#include <orvkernel/device/RenderDevice.h>
#include <orvkernel/device/RenderTarget.h>
#include <orvcore/render/RenderPassContext.h>
#include <orvcore/render/Renderer.h>

namespace orvcore {

EffectComposer::EffectComposer(const std::string& target1, const std::string& target2)
    : m_TargetName1(target1), m_TargetName2(target2)
{
}

EffectComposer::~EffectComposer() = default;

void EffectComposer::AddPass(std::unique_ptr<BasePass>&& pass)
{
    if (!pass) {
        Logger::Instance().Waring("Pass is null!");
        return;
    }
    m_Passes.push_back(std::move(pass));
}

bool EffectComposer::Initialize(Renderer* renderer)
{
    RenderDevice* device = renderer ? renderer->GetDevice() : nullptr;
    m_Target1 = device ? device->FindTarget(m_TargetName1) : nullptr;
    m_Target2 = device ? device->FindTarget(m_TargetName2) : nullptr;
    for (const auto& pass : m_Passes)
        pass->Initialize(renderer);
    return true;
}

void EffectComposer::Destroy()
{
    for (const auto& pass : m_Passes)
        pass->Destroy();
}

bool EffectComposer::IsLastEnabledPass(std::size_t index) const
{
    for (std::size_t i = index + 1; i < m_Passes.size(); ++i) {
        if (m_Passes[i]->GetEnabled())
            return false;
    }
    return true;
}

void EffectComposer::Render(const std::shared_ptr<SceneManager>& manager, Renderer* renderer, float time)
{
    RenderPassContext context(manager, m_Target1.get(), m_Target2.get(), time);
    for (std::size_t i = 0; i < m_Passes.size(); ++i) {
        BasePass& pass = *m_Passes[i];
        if (!pass.GetEnabled())
            continue;
        pass.SetRenderToScenee(m_RenderToScreen && IsLastEnabledPass(i));
        pass.Render(renderer, context);
        if (pass.GetNeedSwap())
            context.SwapBuffers();
    }
}

} // namespace orvcore
