#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/Ray.h>
#include <orvkernel/camera/Camera.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvcore/pick/PickedItem.h>

namespace orvcore {

class Scene;
class SceneManager;
class SceneNode;

/// Ray picking: what lies under a window point.
///
/// Built from a camera and a window point (top-left origin, y down), it holds
/// the world-space pick ray and collects the hits that nodes report, nearest
/// first after `Sort`. Points and lines are hit within a square of
/// `GetScreenThreshold()` viewport pixels (6 by default, inclusive) around
/// the cursor; triangles need a true ray hit. Hit distances are squared
/// distances from the ray origin.
class Raycaster {
public:
    Raycaster(const std::shared_ptr<Camera>& camera, unsigned int pickFilter, int x, int y);
    Raycaster(const Raycaster&) = default;
    Raycaster(Raycaster&&) = default;
    Raycaster& operator=(const Raycaster&) = default;
    Raycaster& operator=(Raycaster&&) = default;
    /// Hands the hit list's storage on to the thread's next caster: a
    /// viewer makes one per mouse move, and need not allocate each time.
    ~Raycaster();

    /// Clears, walks one scene (respecting `Pickable`), sorts; returns the count.
    std::size_t HitTest(const std::shared_ptr<Scene>& scene);
    /// Clears, walks every scene of the manager in order, sorts all hits once.
    std::size_t HitTest(const std::shared_ptr<SceneManager>& manager);
    /// As above; with `respectPickable` false non-pickable nodes are tested
    /// too (tools that must reach them).
    std::size_t HitTest(const std::shared_ptr<SceneManager>& manager, bool respectPickable);
    /// Clears, walks one subtree (respecting `Pickable`), sorts; returns the count.
    std::size_t HitTest(const std::shared_ptr<SceneNode>& node);

    /// Sorts the hits by distance, nearest first (unstable for equal distances).
    std::size_t Sort();
    /// The nearest hit; without hits, a shared null item whose position is
    /// where the ray meets the default XY plane (refreshed on every such call).
    const PickedItem& GetTopItem() const;

    /// True when two world points project within the threshold of each other
    /// on both viewport axes.
    bool TestDistanceThreshold(const glm::vec3& a, const glm::vec3& b) const;
    /// A distance from the ray, in the local units of a node with the given
    /// world matrix and world box, beyond which no point or segment of the
    /// node can pass `TestDistanceThreshold` (with a safety factor); the
    /// largest float when none can be given.
    float LocalSearchRadius(const glm::mat4& world, const AxisAlignedBox& worldBox) const;
    /// The ray in the frame of a node with the given world matrix: the ray
    /// itself for the identity, through the cheap inverse of a rotation,
    /// scale and translation for affine matrices, through the full inverse
    /// otherwise.
    Ray GetLocalRay(const glm::mat4& world) const;
    /// Coarse test: does the ray meet the sphere around the box?
    bool Intersects(const AxisAlignedBox& box) const;
    /// Whether the pick filter admits a primitive kind (points 1, lines 2,
    /// triangles 4; unknown kinds never).
    bool IsPickable(EnumPrimitiveType type) const;

    void AddIntersect(const PickedItem& item) { m_Intersects.push_back(item); }
    void Clear() { m_Intersects.clear(); }
    /// Gives the node to every hit that has none yet.
    void UpdateSceneNode(SceneNode* node);

    std::size_t GetCount() const { return m_Intersects.size(); }
    const std::vector<PickedItem>& GetIntersects() const { return m_Intersects; }
    const Ray& GetRay() const { return m_Ray; }
    const std::shared_ptr<Camera>& GetCamera() const { return m_Camera; }
    unsigned int GetPickFilter() const { return m_PickFilter; }
    float GetScreenThreshold() const { return m_ScreenThreshold; }
    void SetScreenThreshold(float pixels) { m_ScreenThreshold = pixels; }

private:
    unsigned int m_PickFilter;
    Ray m_Ray;
    std::shared_ptr<Camera> m_Camera;
    float m_ScreenThreshold = 6.0f;
    std::vector<PickedItem> m_Intersects;
};

} // namespace orvcore
