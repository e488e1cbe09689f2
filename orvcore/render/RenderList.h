#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvkernel/material/MaterialInstance.h>
#include <orvcore/render/RenderItem.h>

namespace orvcore {

class LightManager;
class ModelBatch;
class RenderDevice;

/// A sortable list of render items with a default (style) material.
///
/// The storage never shrinks: `Reset` only sets the count to 0 and `AddItem`
/// overwrites old entries, so after the first frames a list fills without
/// allocating. Only the first `GetItemCount()` entries are valid.
///
/// Items stay where they were added; sorting reorders a small index array
/// through which `GetAt` and the draw loops read them, so a sort moves 4
/// bytes per item instead of the whole item.
class RenderList {
public:
    void Reset() { m_Count = 0; }
    void AddItem(RenderItem&& item);
    void AddItem(PrimitiveShape* primitive, MaterialInstance* overrideMaterial, const glm::mat4& transform,
                 float distance);

    /// Near to far by depth key (early depth rejection). Equal keys keep no
    /// promised order.
    void SortOpaqueItems();
    /// Far to near by depth key (blending).
    void SortTransparentItems();

    /// Each item with its own material: the override, else the primitive's,
    /// else the list's default; activated anew for every item. On a device
    /// that supports instancing, activated once per run instead: a run is a
    /// stretch of consecutive items of one geometry and one material that
    /// is not transparent, handed to the device as one `DrawInstanced` (in
    /// list order, so the image is that of single draws). A stretch of at
    /// least `ModelBatch::kMinParts` opaque items of one material, each of
    /// its own small geometry, is drawn as one merged `ModelBatch` when the
    /// device's `Batching` setting is on; the stretch may go on through
    /// items of other materials that differ from its first one only in
    /// colour (the batch is then tinted, see `ModelBatch`). The list keeps
    /// its batches between frames.
    void Render(RenderDevice* device) const;
    /// The same, activating through the light manager (lit).
    void Render(RenderDevice* device, LightManager* lights) const;
    /// Every item with the default material, activated once. An empty
    /// default logs "Default material is null!" and draws nothing.
    void RenderWithDefaultMaterial(RenderDevice* device) const;
    /// Every item with whatever material is current.
    void RenderWithoutMaterial(RenderDevice* device) const;

    uint64_t GetItemCount() const { return m_Count; }
    /// Entry at a position of the list's order (valid entries are below the
    /// count; after `Reset` the old entries are still readable).
    const RenderItem& GetAt(std::size_t index) const { return m_Items[m_Order[index]]; }
    std::size_t GetCapacity() const { return m_Items.size(); }
    const std::shared_ptr<MaterialInstance>& GetMaterial() const { return m_Material; }
    /// The material an item is drawn with: its override, else its
    /// primitive's, else the list's default.
    MaterialInstance* ResolveMaterial(const RenderItem& item) const;
    void SetMaterial(const std::shared_ptr<MaterialInstance>& material) { m_Material = material; }

private:
    void SortBy(bool descending);
    /// Items from position `first` that can be drawn with it as one run
    /// under `material` (at least 1).
    std::size_t RunLength(std::size_t first, MaterialInstance* material) const;
    void DrawRun(RenderDevice* device, std::size_t first, std::size_t count) const;
    /// Items from position `first` that can be merged with it under
    /// `material` (0 when it cannot be merged); `tinted` tells whether
    /// they include materials that differ from it in colour.
    std::size_t BatchLength(std::size_t first, MaterialInstance* material, bool& tinted) const;
    /// Draws the items from `first` of one material run; returns how many.
    /// Materials are activated through `lights` when it is set.
    std::size_t DrawFrom(RenderDevice* device, LightManager* lights, std::size_t first, MaterialInstance* material,
                         std::size_t& batches) const;
    void RenderActivating(RenderDevice* device, LightManager* lights) const;
    void DropUnusedBatches(std::size_t used) const;

    uint64_t m_Count = 0;
    std::shared_ptr<MaterialInstance> m_Material;
    std::vector<RenderItem> m_Items;
    // Position -> storage slot; the identity until a sort.
    std::vector<uint32_t> m_Order;
    // The items' depth keys by slot, packed for the sort.
    std::vector<float> m_Keys32;
    // Sort scratch: (key bits, slot) pairs, reused.
    std::vector<std::pair<uint32_t, uint32_t>> m_Keys;
    // Model matrices of the run being drawn, gathered for the device; reused.
    mutable std::vector<glm::mat4> m_RunTransforms;
    // Merged draws kept between frames, in the order the list meets them.
    mutable std::vector<std::shared_ptr<ModelBatch>> m_Batches;
};

} // namespace orvcore
