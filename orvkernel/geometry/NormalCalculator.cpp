#include <orvkernel/geometry/NormalCalculator.h>

#include <orvcommon/Logger.h>

#include <cmath>
#include <cstring>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

namespace {

bool IsFinite(const glm::dvec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

/// Calls `visit(a, b, c)` with the vertex numbers of every triangle the
/// elements form, all wound like the first one.
template <typename Visit>
void ForEachTriangle(const BufferGeometry& geometry, Visit&& visit)
{
    const std::size_t n = geometry.GetElementCount();
    auto vertex = [&](std::size_t i) { return geometry.GetElementVertex(i); };
    switch (geometry.GetPrimitiveType()) {
    case PRIMITIVE_TRIANGLES:
        for (std::size_t i = 0; i + 2 < n; i += 3)
            visit(vertex(i), vertex(i + 1), vertex(i + 2));
        break;
    case PRIMITIVE_TRIANGLE_STRIP:
        // Triangle k is (k, k+1, k+2); the odd ones are wound the other way.
        for (std::size_t k = 0; k + 2 < n; ++k) {
            if (k % 2 == 0)
                visit(vertex(k), vertex(k + 1), vertex(k + 2));
            else
                visit(vertex(k + 1), vertex(k), vertex(k + 2));
        }
        break;
    case PRIMITIVE_TRIANGLE_FAN:
        for (std::size_t k = 1; k + 1 < n; ++k)
            visit(vertex(0), vertex(k), vertex(k + 1));
        break;
    default: break;
    }
}

} // namespace

bool NormalCalculator::ComputeVertexNormals(BufferGeometry& geometry)
{
    if (!IsTrianglePrimitive(geometry.GetPrimitiveType())) {
        Logger::Instance().Waring("Normals need a triangle geometry!");
        return false;
    }
    const std::shared_ptr<BufferAttribute>& positions = geometry.GetPositions();
    if (!positions || positions->GetCount() == 0) {
        Logger::Instance().Waring("Geometry has no positions!");
        return false;
    }
    const std::size_t vertexCount = positions->GetCount();
    if (geometry.GetIndex() && geometry.GetIndex()->GetCount() > 0 &&
        geometry.GetIndex()->GetMaxIndex() >= vertexCount) {
        Logger::Instance().Waring("Index is out of range!");
        return false;
    }

    std::vector<glm::dvec3> points(vertexCount);
    for (std::size_t i = 0; i < vertexCount; ++i)
        points[i] = glm::dvec3(positions->GetVec3(i));

    // The cross product of two edges is the face normal scaled by twice the
    // area: summing them weights each face by its area.
    std::vector<glm::dvec3> sums(vertexCount, glm::dvec3(0.0));
    ForEachTriangle(geometry, [&](uint32_t a, uint32_t b, uint32_t c) {
        const glm::dvec3 weighted = glm::cross(points[b] - points[a], points[c] - points[a]);
        if (!IsFinite(weighted))
            return;
        sums[a] += weighted;
        sums[b] += weighted;
        sums[c] += weighted;
    });

    std::vector<float> normals(vertexCount * 3);
    for (std::size_t i = 0; i < vertexCount; ++i) {
        const double length = glm::length(sums[i]);
        const glm::vec3 normal = length > 0.0 && std::isfinite(length) ? glm::vec3(sums[i] / length)
                                                                       : glm::vec3(0.0f, 0.0f, 1.0f);
        normals[i * 3] = normal.x;
        normals[i * 3 + 1] = normal.y;
        normals[i * 3 + 2] = normal.z;
    }

    const std::shared_ptr<BufferAttribute>& existing = geometry.GetNormals();
    if (existing && existing->GetCount() == vertexCount && existing->GetDataType() == DATA_TYPE_FLOAT &&
        existing->GetItemSize() == 3) {
        // Written in place (the store may be interleaved with other
        // attributes), then one version step for the whole update.
        uint8_t* base = existing->GetData();
        const uint32_t stride = existing->GetByteStride();
        for (std::size_t i = 0; i < vertexCount; ++i)
            std::memcpy(base + i * stride, &normals[i * 3], 3 * sizeof(float));
        existing->RaiseVersion();
        return true;
    }
    auto attribute = std::make_shared<BufferAttribute>(normals.data(), normals.size(), 3);
    attribute->RaiseVersion();
    geometry.SetAttribute(ATTRIBUTE_NORMAL, attribute);
    return true;
}

bool NormalCalculator::ComputeVertexNormals(const std::shared_ptr<BufferGeometry>& geometry)
{
    if (!geometry) {
        Logger::Instance().Waring("Geometry is null!");
        return false;
    }
    return ComputeVertexNormals(*geometry);
}

} // namespace orvcore
