#pragma once

#include <memory>

#include <orvcore/render/CoordinateRenderer.h>
#include <orvcore/render/RenderList.h>

namespace orvcore {

class AxisWidget;

/// The view-axis overlay: an axis triad (`AxisWidget::Create(5, (40, 40,
/// 40))`) in a corner of the view, turning with the main camera. It has no
/// interaction: `HitTest` never hits and `SyncCamera` answers the
/// isometric view. The renderer draws it right after the background, so the
/// model covers it; it leaves the depth buffer cleared for the model.
class ViewAxisRenderer : public CoordinateRenderer {
public:
    ViewAxisRenderer();
    ~ViewAxisRenderer() override;

    /// Once: the widget, an orthographic overlay camera framing it (zoom
    /// 0.15 over the DPI scaling), the top-right corner, the items.
    bool Initialize(Renderer* renderer) override;
    /// Relabels the three arrows (and collects the items again).
    void SetCoordinateWidgetText(const std::wstring& x, const std::wstring& y, const std::wstring& z) override;
    void Render(Renderer* renderer, const std::shared_ptr<Camera>& camera) override;
    std::pair<bool, unsigned int> HitTest(unsigned int x, unsigned int y) override;
    EnumStandardView SyncCamera(const std::shared_ptr<Camera>& camera) override;

    const std::shared_ptr<AxisWidget>& GetViewAxis() const { return m_Axis; }
    const RenderList& GetItems() const { return m_Items; }

private:
    std::shared_ptr<AxisWidget> m_Axis;
    RenderList m_Items;
};

} // namespace orvcore
