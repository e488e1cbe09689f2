#pragma once

#include <memory>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/scene/SceneVisitor.h>

namespace orvcore {

class PrimitiveShape;
class RenderDevice;
class SceneNode;

/// Draws the nodes it visits straight away, without culling or sorting:
/// visible primitive and shape nodes draw their primitives with their own
/// material (or the default one when they have none, or nothing is activated
/// when the keep-current-material flag is set); groups pass it on to their
/// visible children.
class SceneNodeRenderer : public SceneVisitor {
public:
    SceneNodeRenderer(RenderDevice* device, const std::shared_ptr<MaterialInstance>& defaultMaterial)
        : m_Device(device), m_DefaultMaterial(defaultMaterial)
    {
    }

    bool GetKeepCurrentMaterial() const { return m_KeepCurrentMaterial; }
    void SetKeepCurrentMaterial(bool on) { m_KeepCurrentMaterial = on; }

    void Visit(GeneralSceneNode* node) override;
    void Visit(GroupSceneNode* node) override;
    void Visit(ShapeSceneNode* node) override;
    void Visit(PrimitiveSceneNode* node) override;

private:
    void DrawPrimitive(PrimitiveShape* primitive, const SceneNode& node);

    bool m_KeepCurrentMaterial = false;
    RenderDevice* m_Device;
    std::shared_ptr<MaterialInstance> m_DefaultMaterial;
};

} // namespace orvcore
