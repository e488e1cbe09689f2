#pragma once

#include <array>
#include <memory>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/render/EnumRenderListIndex.h>

namespace orvcore {

/// Four default materials, one per render list, that fix the look of what is
/// drawn without its own material: the model, the selection, the highlight.
class RenderStyle {
public:
    RenderStyle();
    ~RenderStyle();

    /// Black 1-pixel lines "sys.line", 10-pixel points "sys.point", shiny
    /// two-sided faces "sys.opacity"; no transparent-face material.
    void InitializeForModel();
    /// Blue 3-pixel edges "sys.selection.edge", 8-pixel points
    /// "sys.selection.point", transparent faces "sys.pick.face" at 0.6.
    void InitializeForSelection();
    /// Dark blue edges "sys.hilight.edge", 7-pixel points
    /// "sys.hilight.point", transparent faces "sys.pick.face" at 0.5.
    void InitializeForHilight();

    const std::shared_ptr<MaterialInstance>& GetMaterial(EnumRenderListIndex::Enum index) const
    {
        return m_Materials[index];
    }

private:
    std::array<std::shared_ptr<MaterialInstance>, EnumRenderListIndex::Count> m_Materials;
};

} // namespace orvcore
