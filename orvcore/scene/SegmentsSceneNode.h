#pragma once

#include <cstdint>
#include <memory>

#include <glm/vec3.hpp>

#include <orvcore/scene/PrimitiveSceneNode.h>

namespace orvcore {

/// Up to `GetSegmentCount()` independent coloured line segments in a buffer
/// of fixed capacity, fed as a ring buffer: segment k is vertices 2k and
/// 2k + 1, and indices wrap around modulo the capacity.
///
/// As with `ParticleSceneNode`, writes name the vertices they touched (the
/// device uploads only those), positions do not recompute the box until
/// `UpdateBoundingBox`, and a capacity of 0 is refused with a warning.
class SegmentsSceneNode : public PrimitiveSceneNode {
public:
    /// `count` segments collapsed at the origin in colour `color`, `width`
    /// pixels wide (0 means 1); the line material is named "point-material"
    /// like the particles' one.
    SegmentsSceneNode(uint32_t count, const glm::vec3& color, uint8_t width);
    /// Wraps an existing line-list primitive of `count` segments (shared).
    SegmentsSceneNode(const std::shared_ptr<PrimitiveShape>& primitive, uint32_t count);

    /// Writes segment `index mod N` from `start` to `end`; marks the node dirty.
    void SetPositions(uint32_t index, const glm::vec3& start, const glm::vec3& end);
    /// Writes the colours of the two ends of segment `index mod N`.
    void SetColors(uint32_t index, const glm::vec3& start, const glm::vec3& end);
    /// The ends of segment `index mod N` and their colours.
    glm::vec3 GetStart(uint32_t index) const;
    glm::vec3 GetEnd(uint32_t index) const;
    glm::vec3 GetStartColor(uint32_t index) const;
    glm::vec3 GetEndColor(uint32_t index) const;

    /// The geometry's box recomputed over all 2N vertices, then copied into
    /// the node's box.
    void UpdateBoundingBox() override;
    /// A node of the same capacity sharing (not copying) the primitive.
    std::shared_ptr<SceneNode> Clone() const override;

    uint32_t GetSegmentCount() const { return m_SegmentCount; }

    static SegmentsSceneNode* Cast(SceneNode* node);
    static const SegmentsSceneNode* Cast(const SceneNode* node);
    static SegmentsSceneNode* Cast(PrimitiveSceneNode* node);
    static const SegmentsSceneNode* Cast(const PrimitiveSceneNode* node);

private:
    uint32_t m_SegmentCount = 0;

    BufferAttribute* Attribute(uint32_t slot) const;
    /// Writes both ends of segment `index mod N` into an attribute.
    bool WritePair(uint32_t slot, uint32_t index, const glm::vec3& start, const glm::vec3& end);
    glm::vec3 Read(uint32_t slot, uint32_t index, uint32_t end) const;
};

} // namespace orvcore
