#pragma once

#include <memory>

#include <orvkernel/camera/Camera.h>

namespace orvcore {

class Renderer;
class Scene2D;

/// The 2D layer drawn last: the nodes of a `Scene2D` in centred viewport
/// coordinates (pixels, origin at the middle of the view, y up), with an
/// orthographic camera of its own that maps one unit to one pixel.
class CanvasForeground {
public:
    CanvasForeground();
    ~CanvasForeground();

    void Initialize(Renderer* renderer);
    /// Re-places every visible 2D node from the 3D camera and draws it.
    void Render(Renderer* renderer, const std::shared_ptr<Scene2D>& scene2D, const std::shared_ptr<Camera>& camera);
    void Destroy();

    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }

private:
    void FitCamera(unsigned int width, unsigned int height);

    std::shared_ptr<Camera> m_Camera;
};

} // namespace orvcore
