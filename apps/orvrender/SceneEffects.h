#pragma once

#include <string>

namespace orvcore {
class RenderDevice;
class Renderer;
} // namespace orvcore

namespace orvrender {

/// The shadow and the orientation overlay a scene file asks for
/// (docs/scene-format.md, "shadow" and "overlay").
struct SceneEffects {
    /// "" (none), "contact" or "light".
    std::string shadow;
    /// Contact shadow: blur amount (the device's contact-shadow blur) and
    /// opacity where the model touches the ground.
    float blur = 1.0f;
    float darkness = 0.5f;
    /// "none", "axis" or "cube".
    std::string overlay = "none";
    /// The overlay's corner as `CoordinateRenderer::SetPosition` takes it.
    int corner = 0;
};

/// Sets the device's shadow switches and blur, prepares the renderer (which
/// makes the shadow renderer) and gives it the darkness; shows the overlay
/// in its corner. Call after `Renderer::Initialize`.
void ApplySceneEffects(const SceneEffects& effects, orvcore::RenderDevice& device, orvcore::Renderer& renderer);

} // namespace orvrender
