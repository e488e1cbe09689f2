#pragma once

#include <cstdint>
#include <memory>
#include <utility>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/EnumStandardView.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/render/RenderQuene.h>
#include <orvcore/render/RenderStyle.h>

namespace orvcore {

class Background;
class CanvasForeground;
class CoordinateRenderer;
class RenderDevice;
class Scene2D;
class SceneManager;
class ShadowRender;

/// Which orientation overlay a view shows.
enum EnumViewCoordinateType : uint32_t { NoWidget = 0, Axis = 1, Cube = 2 };

/// Draws one view on one device: owns the model, selection and highlight
/// queues, the model style, the 2D foreground canvas, the shadow renderer and
/// the two orientation overlays, and fixes the order of a frame (see
/// `BasicPipeline`): shadow map, background, model and grips, selection,
/// current grip, highlight, grid, overlays, 2D foreground.
class Renderer {
public:
    Renderer(RenderDevice* device, float dpiScaling);
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    /// Sets up canvas, styles, queues and the light uniform block for a view.
    bool Initialize(const std::shared_ptr<SceneManager>& manager);
    /// Chooses the shadow renderer from the device's switches and builds the
    /// materials on the device.
    void Prepare();

    void RenderShadowMap(const std::shared_ptr<SceneManager>& manager);
    void RenderBackground(const std::shared_ptr<Background>& background, const std::shared_ptr<Camera>& camera);
    /// Collects, sorts and draws the model, then the grip points on top.
    void RenderModel(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera,
                     MaterialInstance* overrideMaterial);
    /// Selection, current grip, highlight and coordinate grid.
    void DrawSelection(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera);
    void RenderForegound(const std::shared_ptr<Scene2D>& scene2D, const std::shared_ptr<Camera>& camera);
    void Resize(unsigned int width, unsigned int height);

    /// 0 hides both overlays, 1 shows the view axis, 2 the view cube; other
    /// values change nothing.
    void SetViewCondinateType(EnumViewCoordinateType type);
    EnumViewCoordinateType GetViewCoordinateType() const;
    /// The visible overlay (cube first), or null.
    CoordinateRenderer* GetViewWidget() const;
    /// (true, view) when the visible overlay is hit at the window point.
    std::pair<bool, EnumStandardView> HitTestViewWidget(int x, int y, const std::shared_ptr<Camera>& camera);
    /// Forgets the device.
    void Destroy();

    RenderDevice* GetDevice() const { return m_Device; }
    float GetDpiScaling() const { return m_DpiScaling; }
    CanvasForeground* GetCanvas() const { return m_Canvas.get(); }
    const RenderStyle& GetModelStyle() const { return m_ModelStyle; }
    const std::shared_ptr<MaterialInstance>& GetMaterial(EnumRenderListIndex::Enum index) const
    {
        return m_ModelStyle.GetMaterial(index);
    }
    ShadowRender* GetShadowRender() const { return m_ShadowRender.get(); }
    /// The two overlays, shown or not (null before `Initialize`).
    CoordinateRenderer* GetViewAxis() const { return m_ViewAxis.get(); }
    CoordinateRenderer* GetViewCube() const { return m_ViewCube.get(); }
    const RenderQuene& GetModelQueue() const { return m_ModelQueue; }
    const RenderQuene& GetSelectionQueue() const { return m_SelectionQueue; }
    const RenderQuene& GetHilightQueue() const { return m_HilightQueue; }

private:
    void DrawPickedSet(const std::shared_ptr<SceneManager>& manager, const std::shared_ptr<Camera>& camera,
                       RenderQuene& queue, bool selection);

    RenderDevice* m_Device;
    float m_DpiScaling;
    std::unique_ptr<CanvasForeground> m_Canvas;
    RenderStyle m_ModelStyle;
    RenderQuene m_ModelQueue;
    RenderQuene m_SelectionQueue;
    RenderQuene m_HilightQueue;
    std::unique_ptr<ShadowRender> m_ShadowRender;
    std::unique_ptr<CoordinateRenderer> m_ViewAxis;
    std::unique_ptr<CoordinateRenderer> m_ViewCube;
};

} // namespace orvcore
