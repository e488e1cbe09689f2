#pragma once

#include <memory>

namespace orvcore {

class RenderDevice;
class SceneManager;

/// Base of the shadow renderers: prepared once per pipeline preparation,
/// drawing their map before the background and their ground after it.
class ShadowRender {
public:
    virtual ~ShadowRender();
    /// Creates what is missing (materials, targets).
    virtual void Initialize(RenderDevice* device) = 0;
    /// Draws the shadow map of the scene manager's scenes.
    virtual void Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device) = 0;
    /// Draws the shadow-receiving ground, when the kind has one.
    virtual void DrawPlane(RenderDevice* device) = 0;
};

} // namespace orvcore
