#pragma once

#include <memory>
#include <string>
#include <utility>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/EnumStandardView.h>

namespace orvcore {

class RenderDevice;
class RenderList;
class Renderer;
class SceneNode;

/// Base of the orientation overlays drawn in a corner of the view with a
/// camera of their own that turns with the main camera.
///
/// The overlay camera spans the whole device, shrunk by its zoom factor
/// (0.15 over the DPI scaling) and moved into a corner by its two view
/// positions (`SetPosition`). Every frame it looks at the overlay's origin
/// along the main camera's direction, from the signed `GetDistance` along
/// it (negative: on the viewer's side), with the main camera's up vector.
class CoordinateRenderer {
public:
    virtual ~CoordinateRenderer();

    virtual bool Initialize(Renderer* renderer);
    virtual void SetCoordinateWidgetText(const std::wstring& x, const std::wstring& y, const std::wstring& z);
    virtual void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera);
    /// (hit, identifier) for a window point; the base never hits.
    virtual std::pair<bool, unsigned int> HitTest(unsigned int x, unsigned int y);
    /// The standard view the last hit asks for.
    virtual EnumStandardView SyncCamera(const std::shared_ptr<Camera>& camera);

    /// Places the overlay in a corner of the view: 0 top right, 1 bottom
    /// right, 3 top left; 2 takes corner 1's offset from the bottom-left
    /// anchor (which puts the overlay's centre off the view's left edge);
    /// other values change no position. The projection is updated in every
    /// case.
    void SetPosition(int corner);
    /// Sizes the overlay camera to the device and turns it with the main
    /// camera (done by `Render`; call it before `HitTest` when no frame was
    /// drawn since the view changed). Does nothing without a camera.
    void SyncView(const std::shared_ptr<Camera>& camera, unsigned int width, unsigned int height);

    bool GetVisible() const { return m_Visible; }
    void SetVisible(bool on) { m_Visible = on; }
    float GetViewportSize() const { return m_ViewportSize; }
    float GetDistance() const { return m_Distance; }
    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }

protected:
    /// Collects a node's items into a list through a context of the overlay
    /// camera: the opaque items first, then the transparent ones, so that
    /// blended labels are drawn over what lies behind them.
    void CollectItems(SceneNode& node, RenderList& list) const;
    /// The overlay drawing of `Render`: camera synced and current, depth
    /// cleared, the list drawn with its own materials under polygon offset
    /// (1, 1). Returns false (nothing drawn) when hidden or without device.
    bool DrawItems(Renderer* renderer, const std::shared_ptr<Camera>& camera, const RenderList& list);

    bool m_Visible = true;
    float m_ViewportSize = 100.0f;
    float m_Distance = 0.0f;
    std::shared_ptr<Camera> m_Camera;
};

} // namespace orvcore
