#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include <glm/mat4x4.hpp>

namespace orvcore {

class BufferAttribute;
class BufferGeometry;
class ElementAttribute;
class MaterialInstance;
class PrimitiveShape;
class RenderDevice;
class RenderItem;
class RenderList;

/// Many small opaque parts of one material merged into one draw: their
/// vertices carried into world space (normals by each part's normal matrix,
/// texture coordinates as they are) and their primitives listed in one
/// 32-bit index, each part's vertex numbers moved past the parts before it.
/// Imported assemblies hold thousands of parts, each its own geometry,
/// which instancing cannot group; drawn one by one, the driver's per-draw
/// work dominates the frame. Indexed, each vertex a part shares between
/// primitives is transformed once per frame, as in the part's own draw.
///
/// The merged vertices are kept between frames. While the same parts come
/// (in any order: opaque lists are sorted by depth, which an orbit changes),
/// only the parts whose world matrix moved are written again, and the
/// device sends only their vertices. A new or changed part, or one gone,
/// makes the batch again.
///
/// Parts of different materials merge too when the materials differ only
/// in colour (`MaterialInstance::MatchesExceptColor`), as the parts of an
/// imported assembly do, each with a material of its own: the batch then
/// carries each part's colour in a vertex colour and is drawn with
/// `GetTintMaterial`, a copy of the parts' material in white with vertex
/// colours on. White times the part's colour is the part's colour; the
/// colour, now interpolated across each primitive, may round one level
/// apart from the uniform's. Only the kinds whose whole state
/// is the base material's (`BasicMaterial`, `MeshPhongMaterial`) are tinted.
///
/// A part joins (`Accepts`) when its geometry is a triangle or line list of
/// at most `kMaxPartVertices` vertices and elements with float positions,
/// optional float normals and texture coordinates and no other attribute,
/// and its world matrix is affine and invertible. A primitive that names a
/// vertex past one of its part's attributes is merged empty. The depth test
/// makes the image of opaque parts independent of their order; drawn from
/// the world-space copy, positions round in another order than from the
/// model matrix, by an ulp or so.
class ModelBatch {
public:
    static constexpr std::size_t kMaxPartVertices = 6144;
    static constexpr std::size_t kMaxVertices = std::size_t(1) << 22;
    /// Fewer parts than this are drawn one by one: the copy is not worth it.
    static constexpr std::size_t kMinParts = 64;

    ModelBatch();
    ~ModelBatch();

    /// Whether an item can be merged, and the kind of batch it needs: its
    /// primitive type and which of normals (bit 0) and texture coordinates
    /// (bit 1) it carries; `vertices` gets the room it takes in a batch:
    /// the larger of its vertex and element counts.
    static bool Accepts(const RenderItem& item, uint32_t& type, uint32_t& attributes, std::size_t& vertices);

    /// Parts are tested every frame through objects scattered over the heap
    /// (primitive, geometry, attributes, index): a chain of dependent loads
    /// per part. Called at each position `i` of a pass over a list (up to
    /// `count`), this fetches them in stages ahead, so that those of
    /// successive parts overlap: the primitive of the item 12 on, the
    /// geometry of the one 8 on, its attributes and index 4 on.
    static void Prefetch(const RenderList& list, std::size_t i, std::size_t count);

    /// Whether parts of this material may merge with parts of others that
    /// differ from it only in colour: an opaque `BasicMaterial` or
    /// `MeshPhongMaterial` without vertex colours.
    static bool CanTint(const MaterialInstance* material);

    /// Takes the items at positions [first, first + count) of a list, all
    /// accepted with the same type and attributes. With `tinted`, their
    /// materials (as the list resolves them) are those of the first item
    /// but for colour, and each part is drawn in its own material's colour.
    /// False when their room exceeds `kMaxVertices`, or the first item's
    /// material cannot be tinted: the caller then draws them one by one.
    bool Update(const RenderList& list, std::size_t first, std::size_t count, bool tinted = false);
    /// Draws the merged parts with the device's current material: that of
    /// the parts, or `GetTintMaterial` for a tinted batch.
    void Draw(RenderDevice* device) const;
    /// The material a tinted batch is drawn with; null for a batch of one
    /// material.
    MaterialInstance* GetTintMaterial() const;

    std::size_t GetPartCount() const { return m_Parts.size(); }
    /// Parts written by the last `Update` (all of them after a rebuild).
    std::size_t GetRewrittenCount() const { return m_Rewritten; }
    /// Times the merged vertices were made from scratch.
    std::size_t GetRebuildCount() const { return m_Rebuilds; }

private:
    struct Part {
        uint64_t key = 0; ///< primitive object id
        const PrimitiveShape* primitive = nullptr;
        const BufferGeometry* geometry = nullptr;
        /// Positions, normals, texture coordinates and index: compared by
        /// address, which cannot be reused while the batch holds them.
        const void* sources[4] = {nullptr, nullptr, nullptr, nullptr};
        uint32_t positionsVersion = 0;
        uint32_t normalsVersion = 0;
        uint32_t uvVersion = 0;
        uint32_t indexVersion = 0;
        uint32_t vertices = 0;   ///< the part's own vertices, all merged
        uint32_t elements = 0;   ///< whole primitives' elements
        uint32_t first = 0;      ///< first merged vertex
        uint32_t firstIndex = 0; ///< first merged element
        glm::mat4 transform{1.0f};
        glm::vec3 color{1.0f}; ///< the part's colour in a tinted batch
    };

    static Part Describe(const RenderItem& item);
    /// Copies `like` into the tint material (white, vertex colours on)
    /// unless the one held already matches it but for colour.
    bool UpdateTint(const MaterialInstance& like);
    /// Room a part takes in a batch (see `Accepts`).
    static std::size_t Room(const Part& part) { return part.vertices > part.elements ? part.vertices : part.elements; }
    static bool SameSource(const Part& a, const Part& b);
    void Rebuild(uint32_t type, uint32_t attributes);
    void Write(const Part& part);
    /// Lists a part's primitives in the merged index.
    void WriteIndex(const Part& part, uint32_t* out) const;

    std::vector<Part> m_Parts;
    /// The merged parts' geometries and attributes, held so that none is
    /// freed and its address taken by another while the batch compares them.
    std::vector<std::shared_ptr<const void>> m_Held;
    std::vector<Part> m_Next;
    /// Primitive object id -> part, when no primitive appears twice.
    std::unordered_map<uint64_t, uint32_t> m_ByKey;
    bool m_UniqueKeys = false;
    uint32_t m_Type = 0;
    uint32_t m_Attributes = 0;
    std::shared_ptr<BufferAttribute> m_Positions, m_Normals, m_Uvs, m_Colors;
    /// A copy of the material the tint material was made from, and the tint.
    std::shared_ptr<MaterialInstance> m_TintSource, m_Tint;
    std::shared_ptr<ElementAttribute> m_Index;
    std::shared_ptr<BufferGeometry> m_Geometry;
    std::shared_ptr<PrimitiveShape> m_Primitive;
    std::size_t m_Rewritten = 0;
    std::size_t m_Rebuilds = 0;
};

} // namespace orvcore
