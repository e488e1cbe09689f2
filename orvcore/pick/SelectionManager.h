#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <glm/vec3.hpp>

#include <orvcommon/ElementId.h>
#include <orvkernel/search/EnumShapeFilter.h>
#include <orvcore/pick/GripNodeManager.h>
#include <orvcore/pick/PickListener.h>
#include <orvcore/pick/PickedItemSet.h>
#include <orvcore/render/RenderStyle.h>

namespace orvcore {

class Scene;

/// Selection and highlight (pre-selection under the cursor) of one view.
///
/// It never casts rays: the application picks with a `Raycaster` and hands
/// the chosen item to `Hilight` or `Select`. The listener is asked before
/// and told after each change that goes through `Hilight(item)`,
/// `Select(item, append)`, `SelectHightIds` and `Clear`; the other changes
/// are silent. The pick filter decides how fine stored items are: with bit
/// 16 or 32 every item passed to those two calls stands for its whole node.
/// It also owns the two styles the renderer draws the sets with, and the
/// grips of the view.
class SelectionManager {
public:
    SelectionManager();
    ~SelectionManager();

    const std::shared_ptr<PickedItemSet>& GetSelection() const { return m_Selection; }
    const std::shared_ptr<PickedItemSet>& GetHilight() const { return m_Hilight; }
    const RenderStyle& GetSelectionStyle() const { return m_SelectionStyle; }
    const RenderStyle& GetHilightStyle() const { return m_HilightStyle; }
    const std::shared_ptr<PickListener>& GetListener() const { return m_Listener; }
    const std::shared_ptr<GripNodeManager>& GetGripNodeManager() const { return m_GripNodeManager; }
    bool GetDepthTest() const { return m_DepthTest; }
    bool GetHilighting() const { return m_Hilighting; }
    bool GetAllowPickNull() const { return m_AllowPickNull; }
    unsigned int GetPickFilter() const { return m_PickFilter; }
    bool IsSelected(const PickedItem& item) const { return m_Selection->IsExsiting(item); }
    bool IsHilighted(const PickedItem& item) const { return m_Hilight->IsExsiting(item); }

    /// An empty listener is replaced by a plain one that allows everything.
    void SetListener(const std::shared_ptr<PickListener>& listener);
    void SetHilighting(const bool& on) { m_Hilighting = on; }
    void SetAllowPickNull(const bool& on) { m_AllowPickNull = on; }
    void SetPickFilter(const unsigned int& filter) { m_PickFilter = filter; }
    void AddPickFilter(EnumShapeFilter filter) { m_PickFilter |= filter; }
    void ClearPickFilter(EnumShapeFilter filter) { m_PickFilter &= ~static_cast<unsigned int>(filter); }
    void ClearPickFilters() { m_PickFilter = 0; }
    void ResetPickFilters() { m_PickFilter = SHAPE_FILTER_ALL; }

    /// Makes the item the highlight (after the listener agrees); the
    /// argument is reduced by the pick filter in place. True when the
    /// highlight changed.
    bool Hilight(const PickedItem& item);
    /// Replaces the highlight silently; always true.
    bool Hilight(const std::vector<PickedItem>& items);
    /// Selects the item (after the listener agrees), replacing the selection
    /// or, with `append`, toggling the item in it. The argument is reduced
    /// by the pick filter in place.
    void Select(const PickedItem& item, bool append);
    /// Moves the highlight into the selection (added with `append`, else
    /// replacing it); returns the selection's size.
    std::size_t SelectHightIds(bool append);

    /// Silent selection of a whole node of a scene, or of the scene's
    /// document node for an element id.
    bool Select(Scene* scene, unsigned int nodeId);
    bool Select(Scene* scene, ElementId id);
    /// Silent selection of one sub-shape (edge, face, vertex group).
    bool SelectSubShape(Scene* scene, unsigned int nodeId, EnumShapeFilter type, unsigned int shapeIndex);
    bool SelectSubShape(Scene* scene, ElementId id, EnumShapeFilter type, unsigned int shapeIndex);
    void DeSelect(const PickedItem& item) { m_Selection->Remove(item); }
    void DeSelectById(unsigned int nodeId) { m_Selection->RemoveById(nodeId); }

    /// Empties both sets; reports only a selection that held something.
    void Clear();

    /// Colour of the selection style's line, point and transparent-face
    /// materials (the face material is left alone).
    void SetSelectionColor(const glm::vec3& color);
    void SetHilightingColor(const glm::vec3& color);
    /// Depth test of the eight style materials. The manager's own flag
    /// (`GetDepthTest`) is not changed.
    void SetDepthTest(bool on);

private:
    bool SelectNode(Scene* scene, unsigned int nodeId, EnumShapeFilter type, unsigned int shapeIndex);
    bool SelectDocument(Scene* scene, ElementId id, EnumShapeFilter type, unsigned int shapeIndex);

    std::shared_ptr<PickListener> m_Listener;
    bool m_DepthTest = false;
    bool m_Hilighting = true;
    bool m_AllowPickNull = false;
    std::shared_ptr<PickedItemSet> m_Selection;
    std::shared_ptr<PickedItemSet> m_Hilight;
    RenderStyle m_SelectionStyle;
    RenderStyle m_HilightStyle;
    std::shared_ptr<GripNodeManager> m_GripNodeManager;
    unsigned int m_PickFilter = SHAPE_FILTER_ALL;
};

} // namespace orvcore
