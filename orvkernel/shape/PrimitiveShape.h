#pragma once

#include <cstdint>
#include <memory>

#include <orvcommon/AxisAlignedBox.h>
#include <orvcommon/Ray.h>
#include <orvkernel/device/GfxObject.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/material/MaterialInstance.h>
#include <orvkernel/search/IntersectPoint.h>

namespace orvcore {

class CollisionMesh;
class PrimitiveSearch;

/// One drawable: a geometry drawn with one material.
///
/// Nearest-point queries (`ComputeNearestPoint`), in the shape's own
/// coordinates, by primitive kind:
/// - triangle kinds (list, strip, fan; indexed or not): the nearest ray hit
///   on either face; element index = triangle number, distance = ray
///   parameter, filter `SHAPE_FILTER_FACE`;
/// - points: the vertex nearest to the ray (perpendicular distance) among
///   those in front of the origin, ties to the smaller ray parameter;
///   element index = element number (the position in the index list when
///   indexed), distance = ray parameter of the foot point, filter
///   `SHAPE_FILTER_VERTEX`;
/// - line kinds (segments, strip, loop): the segment point nearest to the
///   ray, likewise; element index = segment number, filter
///   `SHAPE_FILTER_EDGE`.
/// The position is the point on the shape. A miss (no element, or no ray
/// hit for triangles) has element index -1. Elements that reference a vertex
/// past the end, or have non-finite positions, are ignored.
///
/// Shapes with more than `kSearchThreshold` elements answer through a
/// bounding-volume hierarchy built on the first query and refitted (same
/// element count) or rebuilt when the positions or the index change;
/// smaller ones by a linear scan, which `ComputeNearestPointBruteForce`
/// always uses.
class PrimitiveShape : public GfxObject {
public:
    static constexpr std::size_t kSearchThreshold = 256;

    PrimitiveShape();
    PrimitiveShape(const std::shared_ptr<BufferGeometry>& geometry, const std::shared_ptr<MaterialInstance>& material);
    ~PrimitiveShape() override;

    /// The geometry's primitive type; `PRIMITIVE_UNDEFINED` without geometry.
    uint32_t GetPrimitiveType() const
    {
        return m_Geometry ? static_cast<uint32_t>(m_Geometry->GetPrimitiveType()) : uint32_t(PRIMITIVE_UNDEFINED);
    }

    const std::shared_ptr<BufferGeometry>& GetGeometry() const { return m_Geometry; }
    void SetGeometry(const std::shared_ptr<BufferGeometry>& geometry);
    const std::shared_ptr<MaterialInstance>& GetMaterial() const { return m_Material; }
    void SetMaterial(const std::shared_ptr<MaterialInstance>& material) { m_Material = material; }

    /// The geometry's bounding box as last computed (null without geometry).
    const AxisAlignedBox& GetBoundingBox() const;

    /// Position and colour attributes of the geometry (empty when absent).
    std::shared_ptr<BufferAttribute> GetPositions() const;
    std::shared_ptr<BufferAttribute> GetColors() const;

    /// Marks the shape's data changed (the device re-uploads what moved).
    void RequestUpdate() { ++m_UpdateVersion; }
    uint32_t GetUpdateVersion() const { return m_UpdateVersion; }
    /// The last element written by an incremental writer (ring buffers of
    /// particles and segments), for partial uploads.
    uint32_t GetLastWritten() const { return m_LastWritten; }
    void SetLastWritten(uint32_t element) { m_LastWritten = element; }

    /// Deep copy: the geometry is copied, the material shared.
    std::shared_ptr<PrimitiveShape> Clone() const;

    IntersectPoint ComputeNearestPoint(const Ray& ray) const;
    /// The same, leaving out points and segments farther from the ray than
    /// `maxDistance`: pickers pass the largest distance that can still be
    /// within their screen threshold, which keeps the search local.
    IntersectPoint ComputeNearestPoint(const Ray& ray, float maxDistance) const;
    IntersectPoint ComputeNearestPointBruteForce(const Ray& ray) const;

    /// The geometry read as a triangle list for collision tests, with its
    /// tree (see `CollisionMesh`): built on first use and again when the
    /// positions or the index change (attribute or version), shared with
    /// whoever holds it. Empty without geometry.
    std::shared_ptr<const CollisionMesh> GetCollisionMesh() const;

private:
    std::shared_ptr<BufferGeometry> m_Geometry;
    std::shared_ptr<MaterialInstance> m_Material;
    uint32_t m_UpdateVersion = 0;
    uint32_t m_LastWritten = 0;
    mutable std::unique_ptr<PrimitiveSearch> m_Search;
    mutable std::shared_ptr<const CollisionMesh> m_CollisionMesh;
};

} // namespace orvcore
