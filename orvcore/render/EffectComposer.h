#pragma once

#include <memory>
#include <string>
#include <vector>

#include <orvcore/render/BasePass.h>
#include <orvcore/render/RenderPipeline.h>

namespace orvcore {

class RenderTarget;

/// A pipeline of passes over two named off-screen targets that are swapped
/// between passes (ping-pong). Only the last enabled pass may write to the
/// screen, and only when the composer renders to the screen. It draws only
/// what its passes draw: no background, selection, foreground or clean-up.
class EffectComposer : public RenderPipeline {
public:
    EffectComposer(const std::string& target1, const std::string& target2);
    ~EffectComposer() override;

    void AddPass(std::unique_ptr<BasePass>&& pass);
    /// Resolves the two targets by name on the device (a missing name leaves
    /// null) and initialises the passes.
    bool Initialize(Renderer* renderer) override;
    void Destroy() override;
    using RenderPipeline::Render;
    void Render(const std::shared_ptr<SceneManager>& manager, Renderer* renderer, float time) override;

    bool GetRenderToScreen() const { return m_RenderToScreen; }
    void SetRenderToScreen(bool on) { m_RenderToScreen = on; }
    const std::string& GetRenderTarget1() const { return m_TargetName1; }
    void SetRenderTarget1(const std::string& name) { m_TargetName1 = name; }
    const std::string& GetRenderTarget2() const { return m_TargetName2; }
    void SetRenderTarget2(const std::string& name) { m_TargetName2 = name; }
    const std::vector<std::unique_ptr<BasePass>>& GetPasses() const { return m_Passes; }

protected:
    bool IsLastEnabledPass(std::size_t index) const;

private:
    bool m_RenderToScreen = true;
    std::string m_TargetName1;
    std::string m_TargetName2;
    std::vector<std::unique_ptr<BasePass>> m_Passes;
    std::shared_ptr<RenderTarget> m_Target1;
    std::shared_ptr<RenderTarget> m_Target2;
};

} // namespace orvcore
