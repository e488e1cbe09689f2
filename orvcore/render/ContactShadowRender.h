#pragma once

#include <memory>
#include <string>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/render/RenderList.h>
#include <orvcore/render/ShadowCasterBatch.h>
#include <orvcore/render/ShadowRender.h>

namespace orvcore {

class PrimitiveSceneNode;
class RenderTarget;

/// The contact shadow: a soft dark footprint of the whole model on a ground
/// plane under it, as if lit from straight above by a wide sky.
///
/// Every frame the casters (small parts merged into one triangle list,
/// `ShadowCasterBatch`) are drawn from below, by an orthographic camera
/// whose near plane lies at the model's lowest point, into the 512 x 512
/// target "contact.map" with the dark-depth material: black whose opacity
/// falls from `darkness` at the ground to 0 at the model's top. The map is
/// blurred twice, horizontally into "contact.blur" and vertically back, with
/// the device's contact-shadow blur b and then 0.4 b (in 1/256 of the map
/// per tap, nine taps), and shown on a transparent plane 1.201 times the
/// model's footprint at its lowest point, drawn right after the background.
/// The map does not depend on the view: a frame whose casters, their
/// geometry and world matrices and the settings are those of the frame
/// before keeps the map it has.
class ContactShadowRender : public ShadowRender {
public:
    static constexpr unsigned int kMapSize = 512;

    ContactShadowRender();
    ~ContactShadowRender() override;

    /// Once: the materials ("System.DarkDepthMaterial" with "darkness" 0.5,
    /// "sys.contact.h", "sys.contact.v", "sys.shadow.plane"), the two targets
    /// (added to the device), the plane and the shadow camera.
    void Initialize(RenderDevice* device) override;
    void Render(const std::shared_ptr<SceneManager>& manager, RenderDevice* device) override;
    /// The plane with the blurred map (nothing before the first `Render`
    /// that found a model).
    void DrawPlane(RenderDevice* device) override;

    /// Opacity of the shadow where the model touches the ground, in [0, 1]
    /// (0.5 by default); other values log "Shadow darkness is invalid!".
    void SetDarkness(float darkness);
    float GetDarkness() const;

    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }
    const std::shared_ptr<MaterialInstance>& GetDarkDepthMaterial() const { return m_DarkDepthMaterial; }
    const std::shared_ptr<MaterialInstance>& GetHorizontalBlurMaterial() const { return m_HorizontalBlurMaterial; }
    const std::shared_ptr<MaterialInstance>& GetVerticalBlurMaterial() const { return m_VerticalBlurMaterial; }
    const std::string& GetMapTargetName() const { return m_MapTargetName; }
    const std::string& GetBlurTargetName() const { return m_BlurTargetName; }
    const RenderList& GetCasters() const { return m_Casters; }
    /// The casters as the map draws them: small parts merged into one list.
    const ShadowCasterBatch& GetCasterBatch() const { return m_Batch; }
    const std::shared_ptr<PrimitiveSceneNode>& GetPlane() const { return m_Plane; }
    /// How many frames drew the map; the others reused the last one, as
    /// nothing it depends on had changed.
    uint64_t GetMapDrawCount() const { return m_MapDrawCount; }

private:
    /// One blur round of amount `amount`: map to blur target horizontally,
    /// back vertically.
    void Blur(RenderDevice* device, float amount);
    /// Aims the camera up at the box from its lowest point and sizes the
    /// plane; false when the box has no footprint to shade.
    bool Place(const AxisAlignedBox& box);
    /// A hash of everything the map depends on (casters with their
    /// geometry versions and world matrices, camera, blur, darkness).
    uint64_t Signature(float blur) const;

    std::shared_ptr<Camera> m_Camera;
    std::shared_ptr<MaterialInstance> m_DarkDepthMaterial;
    std::shared_ptr<MaterialInstance> m_HorizontalBlurMaterial;
    std::shared_ptr<MaterialInstance> m_VerticalBlurMaterial;
    std::string m_MapTargetName = "contact.map";
    std::string m_BlurTargetName = "contact.blur";
    RenderList m_Casters;
    ShadowCasterBatch m_Batch;
    std::shared_ptr<PrimitiveSceneNode> m_Plane;
    float m_Darkness = 0.5f;
    bool m_HasShadow = false;
    bool m_WarnedBlur = false;
    bool m_MapValid = false;
    uint64_t m_Signature = 0;
    uint64_t m_MapDrawCount = 0;
    std::shared_ptr<RenderTarget> m_DrawnMap;
};

} // namespace orvcore
