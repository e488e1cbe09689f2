#pragma once

#include <memory>
#include <string>
#include <utility>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/EnumStandardView.h>

namespace orvcore {

class Renderer;

/// Base of the orientation overlays drawn in a corner of the view with a
/// camera of their own that turns with the main camera.
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

    bool GetVisible() const { return m_Visible; }
    void SetVisible(bool on) { m_Visible = on; }
    float GetViewportSize() const { return m_ViewportSize; }
    float GetDistance() const { return m_Distance; }
    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }

protected:
    bool m_Visible = true;
    float m_ViewportSize = 100.0f;
    float m_Distance = 0.0f;
    std::shared_ptr<Camera> m_Camera;
};

} // namespace orvcore
