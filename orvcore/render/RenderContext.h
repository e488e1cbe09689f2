#pragma once

#include <memory>

#include <glm/mat4x4.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/Frustum.h>
#include <orvcore/render/RenderItem.h>

namespace orvcore {

/// Where scene nodes hand their drawables: the camera's projection x view
/// matrix, a culling frustum (the camera's, widened by 1.2) and the display
/// filter (bits 1 points, 2 lines, 4 triangles). Subclasses decide what
/// `AddItem` does with an item.
class RenderContext {
public:
    /// Takes MVP and frustum from the camera now; an empty camera leaves the
    /// identity MVP and a frustum that sees everything.
    explicit RenderContext(const std::shared_ptr<Camera>& camera);
    RenderContext(const RenderContext&) = default;
    RenderContext& operator=(const RenderContext&) = default;
    virtual ~RenderContext();

    virtual void AddItem(RenderItem& item) = 0;

    const glm::mat4& GetMVP() const { return m_MVP; }
    const Frustum& GetFrustum() const { return m_Frustum; }
    unsigned int GetDisplayFilter() const { return m_DisplayFilter; }
    void SetDisplayFilter(const unsigned int& filter) { m_DisplayFilter = filter; }

    bool IsVisible(const AxisAlignedBox& box) const { return m_Frustum.IsVisible(box); }
    Frustum::Containment Classify(const AxisAlignedBox& box) const { return m_Frustum.Classify(box); }
    /// Clip-space z of the box centre (no w divide): the depth key.
    float DistanceToEye(const AxisAlignedBox& box) const;

private:
    glm::mat4 m_MVP{1.0f};
    Frustum m_Frustum;
    unsigned int m_DisplayFilter = 7;
};

} // namespace orvcore
