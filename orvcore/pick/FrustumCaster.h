#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <glm/vec2.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/camera/Frustum.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvkernel/search/EnumShapeFilter.h>
#include <orvcore/pick/PickedItem.h>

namespace orvcore {

class Scene;
class SceneManager;
class SceneNode;

/// Rectangle (rubber-band) picking: every visible, pickable node whose world
/// box the rectangle's frustum sees reports itself, whole or per member
/// shape, in visiting order. There is no exact test below the boxes and no
/// sorting.
class FrustumCaster {
public:
    /// Corners in window coordinates (top-left origin, y down), either order.
    /// Part picking is on when the first corner's y is less than the second's.
    FrustumCaster(const std::shared_ptr<Camera>& camera, unsigned int pickFilter, const glm::ivec2& first,
                  const glm::ivec2& second);

    /// Clears and walks a scene, every scene of a manager in order, or one
    /// subtree; returns the count (no sorting).
    std::size_t HitTest(const std::shared_ptr<Scene>& scene);
    std::size_t HitTest(const std::shared_ptr<SceneManager>& manager);
    std::size_t HitTest(const std::shared_ptr<SceneNode>& node);

    bool Intersects(const AxisAlignedBox& box) const;
    bool IsPickable(EnumPrimitiveType type) const;
    /// 0 -> vertex (1); 1-3 -> edge (2); 4-6 -> face (4); anything else -> shape (16).
    static EnumShapeFilter ToFilter(EnumPrimitiveType type);

    void AddIntersect(const PickedItem& item) { m_Intersects.push_back(item); }
    void Clear() { m_Intersects.clear(); }
    std::size_t GetCount() const { return m_Intersects.size(); }
    void UpdateSceneNode(SceneNode* node);

    const std::vector<PickedItem>& GetIntersects() const { return m_Intersects; }
    const std::shared_ptr<Frustum>& GetFrustum() const { return m_Frustum; }
    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }
    unsigned int GetPickFilter() const { return m_PickFilter; }
    float GetScreenThreshold() const { return m_ScreenThreshold; }
    bool GetPartPicking() const { return m_PartPicking; }

private:
    unsigned int m_PickFilter;
    std::shared_ptr<Frustum> m_Frustum;
    std::shared_ptr<Camera> m_Camera;
    float m_ScreenThreshold = 6.0f;
    bool m_PartPicking;
    std::vector<PickedItem> m_Intersects;
};

} // namespace orvcore
