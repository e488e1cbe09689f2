#pragma once

#include <array>
#include <memory>

#include <orvcore/render/EnumRenderListIndex.h>
#include <orvcore/render/RenderList.h>

namespace orvcore {

class LightManager;
class RenderDevice;
class RenderStyle;

/// The four render lists of one pass, indexed by `EnumRenderListIndex`, and
/// the fixed order in which they are drawn.
class RenderQuene {
public:
    /// Copies the style's four materials into the lists' defaults.
    void Initialize(const RenderStyle& style);
    bool IsEmpty() const;
    /// Resets the four lists in index order.
    void Reset();
    /// Faces near to far, transparent faces far to near; lines and points
    /// keep their collection order.
    void Sort();

    /// Faces with polygon offset (1, 1), then lines and points without it,
    /// then transparent faces; every item with its own material.
    void Render(RenderDevice* device) const;
    /// As above, faces activated through the light manager.
    void Render(RenderDevice* device, LightManager* lights) const;
    /// With an override material: activated once (through the lights when
    /// given), then all four lists in index order without material and
    /// without offsets. Without one: one of the two forms above.
    void Render(RenderDevice* device, LightManager* lights, MaterialInstance* overrideMaterial) const;
    void RenderWithDefaultMaterial(RenderDevice* device) const;
    void RenderWithoutMaterial(RenderDevice* device) const;

    RenderList& GetRenderList(EnumRenderListIndex::Enum index) { return m_Lists[index]; }
    const RenderList& GetRenderList(EnumRenderListIndex::Enum index) const { return m_Lists[index]; }
    const std::shared_ptr<MaterialInstance>& GetMaterial(EnumRenderListIndex::Enum index) const
    {
        return m_Lists[index].GetMaterial();
    }

private:
    std::array<RenderList, EnumRenderListIndex::Count> m_Lists;
};

} // namespace orvcore
