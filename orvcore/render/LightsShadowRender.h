#pragma once

#include <memory>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/render/RenderList.h>
#include <orvcore/render/ShadowRender.h>

namespace orvcore {

/// Light shadows: the light manager draws a depth map per shadow-casting
/// light ("shadow.map.<i>") with the depth material, and the lit materials
/// look their fragments up in it (percentage-closer filtered, see
/// `LightManager::ActiveMaterial`). There is no ground of its own: the
/// shadows fall on the model's surfaces.
class LightsShadowRender : public ShadowRender {
public:
    LightsShadowRender();
    ~LightsShadowRender() override;

    /// Creates "System.DepthMaterial" of the template "depth" once (drawing
    /// both faces, so that open surfaces cast too).
    void Initialize(RenderDevice* device) override;
    /// Every light's map from the casters its camera sees; then the target
    /// that was current before, with the scene camera.
    void Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device) override;

    const std::shared_ptr<MaterialInstance>& GetDepthMaterial() const { return m_DepthMaterial; }
    const RenderList& GetCasters() const { return m_Casters; }

private:
    RenderList m_Casters;
    std::shared_ptr<MaterialInstance> m_DepthMaterial;
};

} // namespace orvcore
