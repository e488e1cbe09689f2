#pragma once

#include <memory>

#include <orvkernel/camera/Camera.h>

namespace orvcore {

class Renderer;
class Scene2D;
class SceneManager;

/// What one frame of a view consists of. The host calls `Initialize` once
/// after the renderer is initialised, `Prepare` when materials or shadow
/// settings may have changed, `Render` every frame and `Destroy` before the
/// renderer goes.
class RenderPipeline {
public:
    virtual ~RenderPipeline();
    virtual bool Initialize(Renderer* renderer);
    virtual void Destroy();
    /// Prepares the renderer (shadow renderer, materials).
    virtual void Prepare(const std::shared_ptr<SceneManager>& manager, Renderer* renderer);
    /// A 2D-only frame: the foreground.
    virtual void Render(const std::shared_ptr<Scene2D>& scene2D, const std::shared_ptr<Camera>& camera,
                        Renderer* renderer, float time);
    /// A frame of the 3D view.
    virtual void Render(const std::shared_ptr<SceneManager>& manager, Renderer* renderer, float time) = 0;
};

} // namespace orvcore
