#include <orvkernel/geometry/GeometryBuilder.h>

#include <orvcommon/Logger.h>
#include <orvcommon/Math.h>

#include <cmath>
#include <type_traits>
#include <utility>
#include <vector>

#include <glm/geometric.hpp>

namespace orvcore {

namespace {

constexpr const char* kBadSize = "Geometry size must be finite and not negative!";
constexpr const char* kTooManySegments = "Too many segments!";

// Builders refuse to allocate past this many vertices: far more than any
// on-screen primitive needs, and small enough that a mistyped segment count
// cannot exhaust memory.
constexpr uint64_t kMaxVertices = uint64_t(1) << 24;

bool IsValidSize(float value) { return std::isfinite(value) && value >= 0.0f; }

/// Vertex and index data of a surface while it is being built.
struct MeshData {
    std::vector<float> positions;
    std::vector<float> normals;
    std::vector<float> uvs;
    std::vector<uint32_t> indices;

    uint32_t VertexCount() const { return static_cast<uint32_t>(positions.size() / 3); }

    uint32_t AddVertex(const glm::vec3& position, const glm::vec3& normal, float u, float v)
    {
        const uint32_t index = VertexCount();
        positions.insert(positions.end(), {position.x, position.y, position.z});
        normals.insert(normals.end(), {normal.x, normal.y, normal.z});
        uvs.insert(uvs.end(), {u, v});
        return index;
    }

    void AddTriangle(uint32_t a, uint32_t b, uint32_t c) { indices.insert(indices.end(), {a, b, c}); }

    void Reserve(std::size_t vertexCount, std::size_t indexCount)
    {
        positions.reserve(vertexCount * 3);
        normals.reserve(vertexCount * 3);
        uvs.reserve(vertexCount * 2);
        indices.reserve(indexCount);
    }
};

/// Index list in the narrowest type that holds every vertex number.
std::shared_ptr<ElementAttribute> MakeIndex(const std::vector<uint32_t>& indices, std::size_t vertexCount)
{
    if (vertexCount > 0x10000u)
        return std::make_shared<ElementAttribute>(indices);
    std::vector<uint16_t> narrow(indices.size());
    for (std::size_t i = 0; i < indices.size(); ++i)
        narrow[i] = static_cast<uint16_t>(indices[i]);
    return std::make_shared<ElementAttribute>(narrow);
}

std::shared_ptr<BufferAttribute> MakeFloatAttribute(const float* values, std::size_t floatCount, uint32_t itemSize)
{
    return std::make_shared<BufferAttribute>(values, floatCount, itemSize);
}

std::shared_ptr<BufferGeometry> FinishMesh(const MeshData& mesh, EnumPrimitiveType type)
{
    auto geometry = std::make_shared<BufferGeometry>(type);
    geometry->SetAttribute(ATTRIBUTE_POSITION, MakeFloatAttribute(mesh.positions.data(), mesh.positions.size(), 3));
    if (!mesh.normals.empty())
        geometry->SetAttribute(ATTRIBUTE_NORMAL, MakeFloatAttribute(mesh.normals.data(), mesh.normals.size(), 3));
    if (!mesh.uvs.empty())
        geometry->SetAttribute(ATTRIBUTE_UV, MakeFloatAttribute(mesh.uvs.data(), mesh.uvs.size(), 2));
    if (!mesh.indices.empty())
        geometry->SetIndex(MakeIndex(mesh.indices, mesh.VertexCount()));
    geometry->ComputeBoundingBox();
    return geometry;
}

/// Number of whole vertices a per-vertex array of `itemSize` floats must
/// describe: the kept vertices, or all vertices of the input including a
/// dropped tail (whose values are dropped with it).
bool MatchesVertexCount(std::size_t floatCount, uint32_t itemSize, std::size_t kept, std::size_t given)
{
    return floatCount == kept * itemSize || floatCount == given * itemSize;
}

/// Adds an optional per-vertex float attribute of a point or line geometry.
void AddOptionalAttribute(BufferGeometry& geometry, uint32_t slot, const Float32Array& values, uint32_t itemSize,
                          std::size_t kept, std::size_t given, const char* mismatchWarning)
{
    if (values.IsEmpty())
        return;
    if (!MatchesVertexCount(values.GetCount(), itemSize, kept, given)) {
        Logger::Instance().Waring(mismatchWarning);
        return;
    }
    geometry.SetAttribute(slot, MakeFloatAttribute(values.GetData(), kept * itemSize, itemSize));
}

/// Cylinder, truncated cone or cone along Z between zBottom and zTop. A row
/// of radius 0 is a tip: it has one vertex per segment (at the middle angle
/// of its segment, so the tip normal bisects the facet) and one triangle per
/// segment instead of two.
std::shared_ptr<BufferGeometry> BuildCylinder(float radiusTop, float radiusBottom, float zBottom, float zTop,
                                              uint32_t radialSegments, bool capped)
{
    const uint32_t n = radialSegments;
    const float height = zTop - zBottom;
    const double step = Math::TWO_PI / double(n);

    // Outward side normal at angle theta: (h cos, h sin, rb - rt) up to
    // length, the cross product of the two surface tangents.
    auto sideNormal = [&](double theta) {
        const float c = float(std::cos(theta)), s = float(std::sin(theta));
        glm::vec3 normal(height * c, height * s, radiusBottom - radiusTop);
        const float length = glm::length(normal);
        return length > 0.0f ? normal / length : glm::vec3(c, s, 0.0f);
    };

    MeshData mesh;
    mesh.Reserve(4 * std::size_t(n) + 4, 12 * std::size_t(n));

    // Side: a bottom row and a top row; full rows repeat the seam vertex so
    // that u runs from 0 to 1.
    auto addRow = [&](float radius, float z, float v) {
        const uint32_t first = mesh.VertexCount();
        if (radius == 0.0f) {
            for (uint32_t i = 0; i < n; ++i) {
                const double theta = (double(i) + 0.5) * step;
                mesh.AddVertex(glm::vec3(0.0f, 0.0f, z), sideNormal(theta), float((double(i) + 0.5) / n), v);
            }
        } else {
            for (uint32_t i = 0; i <= n; ++i) {
                const double theta = i == n ? 0.0 : double(i) * step; // the seam repeats vertex 0 exactly
                const glm::vec3 p(radius * float(std::cos(theta)), radius * float(std::sin(theta)), z);
                mesh.AddVertex(p, sideNormal(theta), float(i) / float(n), v);
            }
        }
        return first;
    };
    const uint32_t bottom = addRow(radiusBottom, zBottom, 0.0f);
    const uint32_t top = addRow(radiusTop, zTop, 1.0f);
    for (uint32_t i = 0; i < n; ++i) {
        if (radiusTop == 0.0f) {
            mesh.AddTriangle(bottom + i, bottom + i + 1, top + i);
        } else if (radiusBottom == 0.0f) {
            mesh.AddTriangle(bottom + i, top + i + 1, top + i);
        } else {
            mesh.AddTriangle(bottom + i, bottom + i + 1, top + i + 1);
            mesh.AddTriangle(bottom + i, top + i + 1, top + i);
        }
    }

    // Caps: a centre and a rim with planar uv; the bottom one faces -Z.
    auto addCap = [&](float radius, float z, bool facingUp) {
        const glm::vec3 normal(0.0f, 0.0f, facingUp ? 1.0f : -1.0f);
        const uint32_t centre = mesh.AddVertex(glm::vec3(0.0f, 0.0f, z), normal, 0.5f, 0.5f);
        for (uint32_t i = 0; i < n; ++i) {
            const double theta = double(i) * step;
            const float c = float(std::cos(theta)), s = float(std::sin(theta));
            mesh.AddVertex(glm::vec3(radius * c, radius * s, z), normal, 0.5f + 0.5f * c,
                           facingUp ? 0.5f + 0.5f * s : 0.5f - 0.5f * s);
        }
        for (uint32_t i = 0; i < n; ++i) {
            const uint32_t a = centre + 1 + i, b = centre + 1 + (i + 1) % n;
            if (facingUp)
                mesh.AddTriangle(centre, a, b);
            else
                mesh.AddTriangle(centre, b, a);
        }
    };
    if (capped && radiusBottom > 0.0f)
        addCap(radiusBottom, zBottom, false);
    if (capped && radiusTop > 0.0f)
        addCap(radiusTop, zTop, true);

    return FinishMesh(mesh, PRIMITIVE_TRIANGLES);
}

} // namespace

std::shared_ptr<BufferGeometry> GeometryBuilder::CreatePlane(float width, float height, uint32_t widthSegments,
                                                             uint32_t heightSegments)
{
    if (!IsValidSize(width) || !IsValidSize(height)) {
        Logger::Instance().Waring(kBadSize);
        return nullptr;
    }
    if (widthSegments == 0 || heightSegments == 0) {
        Logger::Instance().Waring("Plane needs at least 1 segment per side!");
        widthSegments = widthSegments ? widthSegments : 1;
        heightSegments = heightSegments ? heightSegments : 1;
    }
    const uint32_t nx = widthSegments, ny = heightSegments;
    if (nx >= kMaxVertices || ny >= kMaxVertices || (uint64_t(nx) + 1) * (uint64_t(ny) + 1) > kMaxVertices) {
        Logger::Instance().Waring(kTooManySegments);
        return nullptr;
    }

    // Planes of a million vertices back function plots: every attribute is
    // written once, straight into its own store, and the index list is laid
    // out by arithmetic and handed over without a copy.
    const uint32_t row = nx + 1;
    const std::size_t vertexCount = std::size_t(row) * (ny + 1);
    auto positions = std::make_shared<BufferAttribute>(DATA_TYPE_FLOAT, 3, nullptr, vertexCount);
    auto normals = std::make_shared<BufferAttribute>(DATA_TYPE_FLOAT, 3, nullptr, vertexCount);
    auto uvs = std::make_shared<BufferAttribute>(DATA_TYPE_FLOAT, 2, nullptr, vertexCount);
    float* p = reinterpret_cast<float*>(positions->GetData());
    float* n = reinterpret_cast<float*>(normals->GetData());
    float* t = reinterpret_cast<float*>(uvs->GetData());
    for (uint32_t j = 0; j <= ny; ++j) {
        const float v = float(j) / float(ny);
        const float y = (v - 0.5f) * height;
        for (uint32_t i = 0; i <= nx; ++i, p += 3, n += 3, t += 2) {
            const float u = float(i) / float(nx);
            p[0] = (u - 0.5f) * width;
            p[1] = y;
            p[2] = 0.0f;
            n[0] = 0.0f;
            n[1] = 0.0f;
            n[2] = 1.0f;
            t[0] = u;
            t[1] = v;
        }
    }

    // Two triangles per cell: (a, a + 1, a + row + 1) and (a, a + row + 1,
    // a + row), a the cell's lower-left vertex.
    auto fillIndices = [&](auto* out) {
        using Index = std::remove_pointer_t<decltype(out)>;
        for (uint32_t j = 0; j < ny; ++j) {
            for (uint32_t i = 0; i < nx; ++i, out += 6) {
                const uint32_t a = j * row + i;
                out[0] = Index(a);
                out[1] = Index(a + 1);
                out[2] = Index(a + row + 1);
                out[3] = Index(a);
                out[4] = Index(a + row + 1);
                out[5] = Index(a + row);
            }
        }
    };
    const std::size_t indexCount = std::size_t(nx) * ny * 6;
    std::shared_ptr<ElementAttribute> index;
    if (vertexCount > 0x10000u) {
        LargeVector<uint32_t> indices(indexCount);
        fillIndices(indices.data());
        index = std::make_shared<ElementAttribute>(std::move(indices));
    } else {
        LargeVector<uint16_t> indices(indexCount);
        fillIndices(indices.data());
        index = std::make_shared<ElementAttribute>(std::move(indices));
    }

    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_TRIANGLES);
    geometry->SetAttribute(ATTRIBUTE_POSITION, positions);
    geometry->SetAttribute(ATTRIBUTE_NORMAL, normals);
    geometry->SetAttribute(ATTRIBUTE_UV, uvs);
    geometry->SetIndex(index);
    // Corners (-w/2, -h/2, 0) and (w/2, h/2, 0) exactly: u and v run from 0
    // to 1, and (u - 0.5) x size rounds monotonically in between.
    geometry->SetBoundingBox(AxisAlignedBox(glm::vec3(-0.5f * width, -0.5f * height, 0.0f),
                                            glm::vec3(0.5f * width, 0.5f * height, 0.0f)));
    return geometry;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateLine(const glm::vec3& start, const glm::vec3& end)
{
    float values[6] = {start.x, start.y, start.z, end.x, end.y, end.z};
    return CreateLines(Float32Array(values, 6));
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateLines(const Float32Array& positions, const Float32Array& colors,
                                                             const Float32Array& lineDistances)
{
    const std::size_t given = positions.GetCount() / 3;
    const std::size_t kept = given / 2 * 2;
    if (kept * 3 != positions.GetCount())
        Logger::Instance().Waring("Line positions are not a whole number of segments!");

    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_LINES);
    geometry->SetAttribute(ATTRIBUTE_POSITION, MakeFloatAttribute(positions.GetData(), kept * 3, 3));
    AddOptionalAttribute(*geometry, ATTRIBUTE_COLOR, colors, 3, kept, given,
                         "Color count does not match the vertex count!");
    AddOptionalAttribute(*geometry, ATTRIBUTE_LINE_DISTANCE, lineDistances, 1, kept, given,
                         "Line distance count does not match the vertex count!");
    geometry->ComputeBoundingBox();
    return geometry;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreatePoints(const Float32Array& positions, const Float32Array& colors)
{
    const std::size_t kept = positions.GetCount() / 3;
    if (kept * 3 != positions.GetCount())
        Logger::Instance().Waring("Positions are not a whole number of vertices!");

    auto geometry = std::make_shared<BufferGeometry>(PRIMITIVE_POINTS);
    geometry->SetAttribute(ATTRIBUTE_POSITION, MakeFloatAttribute(positions.GetData(), kept * 3, 3));
    AddOptionalAttribute(*geometry, ATTRIBUTE_COLOR, colors, 3, kept, kept,
                         "Color count does not match the vertex count!");
    geometry->ComputeBoundingBox();
    return geometry;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateGeometry(const Float32Array& positions,
                                                                const Float32Array& normals, EnumPrimitiveType type)
{
    if (uint32_t(type) > uint32_t(PRIMITIVE_TRIANGLE_FAN)) {
        Logger::Instance().Waring("Unknown primitive type!");
        return nullptr;
    }
    const std::size_t kept = positions.GetCount() / 3;
    if (kept * 3 != positions.GetCount())
        Logger::Instance().Waring("Positions are not a whole number of vertices!");

    auto geometry = std::make_shared<BufferGeometry>(type);
    geometry->SetAttribute(ATTRIBUTE_POSITION, MakeFloatAttribute(positions.GetData(), kept * 3, 3));
    AddOptionalAttribute(*geometry, ATTRIBUTE_NORMAL, normals, 3, kept, kept,
                         "Normal count does not match the vertex count!");
    geometry->ComputeBoundingBox();
    return geometry;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::AtomQuadShape()
{
    static const std::shared_ptr<BufferGeometry> quad = CreatePlane(1.0f, 1.0f, 1, 1);
    return quad;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateArrowHead()
{
    static const std::shared_ptr<BufferGeometry> arrow = BuildCylinder(0.0f, 1.0f, 0.0f, 3.0f, 16, true);
    return arrow;
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateBox(const glm::vec3& size)
{
    if (!IsValidSize(size.x) || !IsValidSize(size.y) || !IsValidSize(size.z)) {
        Logger::Instance().Waring(kBadSize);
        return nullptr;
    }
    // Each face: its normal and two in-plane axes with u x v = normal, so
    // the corners (-u-v, +u-v, +u+v, -u+v) run counter-clockwise seen from
    // outside.
    struct Face {
        glm::vec3 normal, u, v;
    };
    static const Face kFaces[6] = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},   {{-1, 0, 0}, {0, -1, 0}, {0, 0, 1}},
        {{0, 1, 0}, {-1, 0, 0}, {0, 0, 1}},  {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}},
        {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},   {{0, 0, -1}, {1, 0, 0}, {0, -1, 0}},
    };
    static const float kCorners[4][2] = {{-1, -1}, {1, -1}, {1, 1}, {-1, 1}};

    const glm::vec3 half = size * 0.5f;
    MeshData mesh;
    mesh.Reserve(24, 36);
    for (const Face& face : kFaces) {
        const uint32_t first = mesh.VertexCount();
        for (const auto& corner : kCorners) {
            const glm::vec3 p = (face.normal + corner[0] * face.u + corner[1] * face.v) * half;
            mesh.AddVertex(p, face.normal, 0.5f + 0.5f * corner[0], 0.5f + 0.5f * corner[1]);
        }
        mesh.AddTriangle(first, first + 1, first + 2);
        mesh.AddTriangle(first, first + 2, first + 3);
    }
    return FinishMesh(mesh, PRIMITIVE_TRIANGLES);
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateBoxEdges(const glm::vec3& size)
{
    if (!IsValidSize(size.x) || !IsValidSize(size.y) || !IsValidSize(size.z)) {
        Logger::Instance().Waring(kBadSize);
        return nullptr;
    }
    const glm::vec3 half = size * 0.5f;
    MeshData mesh;
    for (uint32_t k = 0; k < 8; ++k) {
        mesh.positions.insert(mesh.positions.end(), {(k & 1) ? half.x : -half.x, (k & 2) ? half.y : -half.y,
                                                     (k & 4) ? half.z : -half.z});
    }
    // An edge joins two corners that differ in exactly one bit.
    for (uint32_t k = 0; k < 8; ++k) {
        for (uint32_t bit = 1; bit < 8; bit <<= 1) {
            if (!(k & bit))
                mesh.indices.insert(mesh.indices.end(), {k, k | bit});
        }
    }
    return FinishMesh(mesh, PRIMITIVE_LINES);
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateSphere(float radius, uint32_t widthSegments,
                                                              uint32_t heightSegments)
{
    if (!IsValidSize(radius)) {
        Logger::Instance().Waring(kBadSize);
        return nullptr;
    }
    if (widthSegments < 3 || heightSegments < 2) {
        Logger::Instance().Waring("Sphere needs at least 3 width and 2 height segments!");
        widthSegments = widthSegments < 3 ? 3 : widthSegments;
        heightSegments = heightSegments < 2 ? 2 : heightSegments;
    }
    const uint32_t nx = widthSegments, ny = heightSegments;
    const uint64_t vertexCount = 2 * uint64_t(nx) + (uint64_t(ny) - 1) * (uint64_t(nx) + 1);
    if (nx >= kMaxVertices || ny >= kMaxVertices || vertexCount > kMaxVertices) {
        Logger::Instance().Waring(kTooManySegments);
        return nullptr;
    }

    auto direction = [](double theta, double phi) {
        return glm::vec3(float(std::sin(phi) * std::cos(theta)), float(std::sin(phi) * std::sin(theta)),
                         float(std::cos(phi)));
    };

    MeshData mesh;
    mesh.Reserve(std::size_t(vertexCount), std::size_t(nx) * (ny - 1) * 6);
    const double thetaStep = Math::TWO_PI / double(nx);

    // Row j lies at polar angle pi * j / ny from +Z. The pole rows have one
    // vertex per segment at the segment's middle angle; the other rows repeat
    // the seam vertex so that u runs from 0 to 1.
    const uint32_t northPole = mesh.VertexCount();
    for (uint32_t i = 0; i < nx; ++i) {
        const double u = (double(i) + 0.5) / double(nx);
        mesh.AddVertex(glm::vec3(0.0f, 0.0f, radius), glm::vec3(0.0f, 0.0f, 1.0f), float(u), 1.0f);
    }
    const uint32_t firstRing = mesh.VertexCount();
    for (uint32_t j = 1; j < ny; ++j) {
        const double phi = Math::PI * double(j) / double(ny);
        for (uint32_t i = 0; i <= nx; ++i) {
            const glm::vec3 normal = direction(i == nx ? 0.0 : double(i) * thetaStep, phi);
            mesh.AddVertex(normal * radius, normal, float(i) / float(nx), 1.0f - float(j) / float(ny));
        }
    }
    const uint32_t southPole = mesh.VertexCount();
    for (uint32_t i = 0; i < nx; ++i) {
        const double u = (double(i) + 0.5) / double(nx);
        mesh.AddVertex(glm::vec3(0.0f, 0.0f, -radius), glm::vec3(0.0f, 0.0f, -1.0f), float(u), 0.0f);
    }

    // Seen from outside, u grows to the right and j downwards, so the quad
    // (a top-left, b top-right, c bottom-right, d bottom-left) is a-d-c, a-c-b.
    const uint32_t row = nx + 1;
    auto ring = [&](uint32_t j, uint32_t i) { return firstRing + (j - 1) * row + i; };
    for (uint32_t i = 0; i < nx; ++i)
        mesh.AddTriangle(northPole + i, ring(1, i), ring(1, i + 1));
    for (uint32_t j = 1; j + 1 < ny; ++j) {
        for (uint32_t i = 0; i < nx; ++i) {
            const uint32_t a = ring(j, i), b = ring(j, i + 1), c = ring(j + 1, i + 1), d = ring(j + 1, i);
            mesh.AddTriangle(a, d, c);
            mesh.AddTriangle(a, c, b);
        }
    }
    for (uint32_t i = 0; i < nx; ++i)
        mesh.AddTriangle(ring(ny - 1, i), southPole + i, ring(ny - 1, i + 1));
    return FinishMesh(mesh, PRIMITIVE_TRIANGLES);
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateCylinder(float radiusTop, float radiusBottom, float height,
                                                                uint32_t radialSegments, bool capped)
{
    if (!IsValidSize(radiusTop) || !IsValidSize(radiusBottom) || !IsValidSize(height)) {
        Logger::Instance().Waring(kBadSize);
        return nullptr;
    }
    if (radiusTop == 0.0f && radiusBottom == 0.0f) {
        Logger::Instance().Waring("Cylinder needs a positive radius!");
        return nullptr;
    }
    if (radialSegments < 3) {
        Logger::Instance().Waring("Cylinder needs at least 3 radial segments!");
        radialSegments = 3;
    }
    if (4 * (uint64_t(radialSegments) + 1) > kMaxVertices) {
        Logger::Instance().Waring(kTooManySegments);
        return nullptr;
    }
    return BuildCylinder(radiusTop, radiusBottom, -0.5f * height, 0.5f * height, radialSegments, capped);
}

std::shared_ptr<BufferGeometry> GeometryBuilder::CreateCone(float radius, float height, uint32_t radialSegments)
{
    return CreateCylinder(0.0f, radius, height, radialSegments, true);
}

} // namespace orvcore
