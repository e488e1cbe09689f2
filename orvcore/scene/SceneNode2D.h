#pragma once

#include <memory>

#include <orvkernel/camera/Camera.h>
#include <orvkernel/device/GfxObject.h>
#include <orvcore/scene/SceneNode.h>

namespace orvcore {

/// An entry of the 2D overlay: an ordinary scene node drawn in viewport
/// coordinates, centred on the viewport (x right, y up, in pixels).
class SceneNode2D : public GfxObject {
public:
    SceneNode2D() = default;
    explicit SceneNode2D(const std::shared_ptr<SceneNode>& node);
    ~SceneNode2D() override;

    /// Called by the overlay pass once per frame before drawing, so that a
    /// node can place itself from the camera. Does nothing here.
    virtual void UpdatePosition(const std::shared_ptr<Camera>& camera);

    const std::shared_ptr<SceneNode>& GetNode() const { return m_Node; }
    void SetNode(const std::shared_ptr<SceneNode>& node) { m_Node = node; }
    const bool& GetVisible() const { return m_Visible; }
    void SetVisible(const bool& visible) { m_Visible = visible; }

    static SceneNode2D* Cast(GfxObject* object);
    static const SceneNode2D* Cast(const GfxObject* object);

private:
    bool m_Visible = true;
    std::shared_ptr<SceneNode> m_Node;
};

} // namespace orvcore
