#pragma once

#include <memory>

#include <orvcore/render/CoordinateRenderer.h>
#include <orvcore/render/RenderList.h>

namespace orvcore {

class ViewCube;

/// The view-cube overlay: a `ViewCube` (`ViewCube::Create(5)`, 90 units on
/// a side) in a corner of the view, seen by an orthographic camera 200
/// units from its centre on the viewer's side that turns with the main
/// camera. Drawn after the model and the selection, over both; the hovered
/// element is drawn again in the cube's hover material.
///
/// `HitTest` casts a ray through the window point when it lies in the
/// overlay's drawing area, answers the identifier of the element hit and
/// makes it the hovered one (a miss clears the hover); `SyncCamera` gives
/// the standard view of the element last hit.
class ViewCubeRenderer : public CoordinateRenderer {
public:
    ViewCubeRenderer();
    ~ViewCubeRenderer() override;

    bool Initialize(Renderer* renderer) override;
    void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) override;
    std::pair<bool, unsigned int> HitTest(unsigned int x, unsigned int y) override;
    /// The standard view of the element last hit; `STANDARD_VIEW_NONE`
    /// with "Node is null!" when no element was hit.
    EnumStandardView SyncCamera(const std::shared_ptr<Camera>& camera) override;

    const std::shared_ptr<ViewCube>& GetViewCube() const { return m_Cube; }
    const RenderList& GetItems() const { return m_Items; }
    /// The element of the last hit (0: none).
    unsigned int GetLastHit() const { return m_LastHit; }

private:
    std::shared_ptr<ViewCube> m_Cube;
    RenderList m_Items;
    unsigned int m_LastHit = 0;
};

} // namespace orvcore
