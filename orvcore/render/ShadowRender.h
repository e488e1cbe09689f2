#pragma once

#include <memory>

namespace orvcore {

class Camera;
class RenderDevice;
class RenderList;
class SceneManager;

/// Base of the shadow renderers: prepared at every pipeline preparation,
/// drawing their map before the background and their ground after it.
/// The renderer owns one, of the kind its first preparation with a shadow
/// switch on chose (`LightsShadowRender` or `ContactShadowRender`).
class ShadowRender {
public:
    virtual ~ShadowRender();
    /// Creates what is missing (materials, targets). Nothing by default.
    virtual void Initialize(RenderDevice* device);
    /// Draws the shadow map of the scene manager's scenes.
    virtual void Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device) = 0;
    /// Draws the shadow-receiving ground. Nothing by default.
    virtual void DrawPlane(RenderDevice* device);

protected:
    /// Refills the list with the shadow casters of every scene of the
    /// manager that the camera sees (`PrepareShadowVisitor`), far to near.
    static void CollectCasters(const SceneManager& manager, const std::shared_ptr<Camera>& camera, RenderList& casters);
};

} // namespace orvcore
