#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <glm/mat4x4.hpp>

namespace orvcore {

class BufferAttribute;
class BufferGeometry;
class ElementAttribute;
class PrimitiveShape;
class RenderDevice;
class RenderList;

/// The casters of a shadow map gathered into one triangle list in world
/// space, so that a map of thousands of small parts costs one draw call
/// rather than one per part.
///
/// Each small caster (a triangle list of at most `kMaxCasterVertices`
/// elements, float positions, an affine world matrix) owns a run of the
/// merged vertices: its triangles, unrolled and carried into world space.
/// While the casters keep their geometry, only the runs of casters whose
/// world matrix changed are written again, and the device sends only those
/// runs. Large casters, and casters past `kMaxBatchVertices`, are drawn on
/// their own as before. Only positions are kept: the map's material needs
/// no other attribute.
class ShadowCasterBatch {
public:
    static constexpr std::size_t kMaxCasterVertices = 6144;
    static constexpr std::size_t kMaxBatchVertices = std::size_t(1) << 22;

    ShadowCasterBatch();
    ~ShadowCasterBatch();

    /// Takes the casters of this frame.
    void Update(const RenderList& casters);
    /// Draws every caster with the device's current material.
    void Draw(RenderDevice* device) const;

    std::size_t GetMergedCount() const { return m_Runs.size(); }
    std::size_t GetSeparateCount() const { return m_Separate.size(); }
    /// Runs written again by the last `Update` (all of them after a rebuild).
    std::size_t GetRewrittenCount() const { return m_Rewritten; }
    const std::shared_ptr<PrimitiveShape>& GetPrimitive() const { return m_Primitive; }

private:
    struct Run {
        const PrimitiveShape* primitive = nullptr;
        const BufferAttribute* positions = nullptr;
        const ElementAttribute* index = nullptr;
        uint32_t positionsVersion = 0;
        uint32_t indexVersion = 0;
        uint32_t elements = 0; ///< merged vertices: whole triangles only
        uint32_t first = 0;    ///< first merged vertex
        glm::mat4 transform{1.0f};
    };
    struct Separate {
        PrimitiveShape* primitive;
        glm::mat4 transform;
    };

    /// Unrolls a run's triangles into world space at its place.
    void Write(const Run& run, float* out) const;

    std::vector<Run> m_Runs;
    std::vector<Run> m_Next;
    std::vector<Separate> m_Separate;
    std::shared_ptr<BufferAttribute> m_Positions;
    std::shared_ptr<BufferGeometry> m_Geometry;
    std::shared_ptr<PrimitiveShape> m_Primitive;
    std::size_t m_Rewritten = 0;
};

} // namespace orvcore
