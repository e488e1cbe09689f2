#pragma once

#include <cstdint>
#include <memory>

#include <glm/vec3.hpp>

#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

/// Up to `GetSeedCount()` coloured points (seeds) in a buffer of fixed
/// capacity, fed as a ring buffer: element indices wrap around modulo the
/// capacity, so index N + 3 writes slot 3.
///
/// Writes go into the primitive's vertex buffers and name the slot they
/// touched, so the device uploads only the written points. Writing positions
/// does not recompute the box: call `UpdateBoundingBox` after a batch of
/// writes (one box computation per batch). Picking reads the live positions.
///
/// A capacity of 0 is refused: the node is built empty and every access
/// warns and does nothing. A wrapped primitive with fewer vertices than the
/// capacity warns on writes past its end.
class ParticleSceneNode : public PrimitiveSceneNode {
public:
    /// `count` points at the origin in colour `color`, drawn `pointSize`
    /// pixels wide ("point-material", vertex colours).
    ParticleSceneNode(uint32_t count, const glm::vec3& color, float pointSize);
    /// Wraps an existing point primitive of `count` points (shared).
    ParticleSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, uint32_t count);

    /// Writes point `index mod N`; the primitive's last-written marker
    /// becomes `index` when it is below N, else 0. Marks the node dirty.
    void SetPosition(uint32_t index, const glm::vec3& position);
    glm::vec3 GetPosition(uint32_t index) const;
    /// Writes the colour of point `index mod N`; the node stays clean
    /// (colours do not move it).
    void SetColor(uint32_t index, const glm::vec3& color);
    glm::vec3 GetColor(uint32_t index) const;

    /// The geometry's box recomputed over all N points, then copied into
    /// the node's box (`PrimitiveSceneNode::UpdateBoundingBox`).
    void UpdateBoundingBox() override;
    /// A node of the same capacity sharing (not copying) the primitive.
    std::shared_ptr<SceneNode> Clone() const override;

    uint32_t GetSeedCount() const { return m_SeedCount; }

    static ParticleSceneNode* Cast(SceneNode* node);
    static const ParticleSceneNode* Cast(const SceneNode* node);
    static ParticleSceneNode* Cast(PrimitiveSceneNode* node);
    static const ParticleSceneNode* Cast(const PrimitiveSceneNode* node);

private:
    uint32_t m_SeedCount = 0;

    /// The attribute of a slot of the geometry, or null with a warning
    /// (no capacity, no primitive or no such attribute).
    BufferAttribute* Attribute(uint32_t slot) const;
};

} // namespace orvcore
