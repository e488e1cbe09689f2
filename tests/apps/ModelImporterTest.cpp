#include <orvrender/ModelImporter.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/gtc/constants.hpp>
#include <gtest/gtest.h>

#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include "LogCapture.h"

using namespace orvcore;
using orvrender::ImportedModel;
using orvrender::ImportModel;
using orvrender::ImportOptions;

namespace {

std::string WriteFile(const std::string& name, const std::string& content)
{
    const std::string path = ::testing::TempDir() + "orvimport_" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
    return path;
}

/// Every leaf below a node, depth first.
void CollectLeaves(SceneNode* node, std::vector<SceneNode*>& leaves)
{
    if (auto* group = GroupSceneNode::Cast(node)) {
        for (const auto& entry : group->GetChildren())
            CollectLeaves(entry.second.get(), leaves);
        return;
    }
    leaves.push_back(node);
}

std::vector<SceneNode*> Leaves(const ImportedModel& model)
{
    std::vector<SceneNode*> leaves;
    if (model.root)
        CollectLeaves(model.root.get(), leaves);
    return leaves;
}

std::string Base64(const std::vector<uint8_t>& bytes)
{
    static const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t chunk = uint32_t(bytes[i]) << 16;
        if (i + 1 < bytes.size())
            chunk |= uint32_t(bytes[i + 1]) << 8;
        if (i + 2 < bytes.size())
            chunk |= bytes[i + 2];
        out += kDigits[(chunk >> 18) & 63];
        out += kDigits[(chunk >> 12) & 63];
        out += i + 1 < bytes.size() ? kDigits[(chunk >> 6) & 63] : '=';
        out += i + 2 < bytes.size() ? kDigits[chunk & 63] : '=';
    }
    return out;
}

const char* kCubeObj = "v -1 -1 -1\nv 1 -1 -1\nv 1 1 -1\nv -1 1 -1\n"
                       "v -1 -1 1\nv 1 -1 1\nv 1 1 1\nv -1 1 1\n"
                       "f 1 4 3 2\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n";

/// A closed cylinder (radius 1, z in [0, 2]) as ASCII PLY: `segments` side
/// quads split in two, and a fan on each cap around a centre vertex.
std::string CylinderPly(int segments)
{
    std::vector<glm::vec3> vertices;
    for (int i = 0; i < segments; ++i) {
        const float a = 2.0f * glm::pi<float>() * float(i) / float(segments);
        vertices.emplace_back(std::cos(a), std::sin(a), 0.0f);
        vertices.emplace_back(std::cos(a), std::sin(a), 2.0f);
    }
    const int bottom = int(vertices.size());
    vertices.emplace_back(0.0f, 0.0f, 0.0f);
    vertices.emplace_back(0.0f, 0.0f, 2.0f);
    std::vector<std::array<int, 3>> faces;
    for (int i = 0; i < segments; ++i) {
        const int j = (i + 1) % segments;
        faces.push_back({2 * i, 2 * j, 2 * j + 1});
        faces.push_back({2 * i, 2 * j + 1, 2 * i + 1});
        faces.push_back({bottom, 2 * j, 2 * i});
        faces.push_back({bottom + 1, 2 * i + 1, 2 * j + 1});
    }
    std::string ply = "ply\nformat ascii 1.0\nelement vertex " + std::to_string(vertices.size()) +
                      "\nproperty float x\nproperty float y\nproperty float z\nelement face " +
                      std::to_string(faces.size()) + "\nproperty list uchar int vertex_indices\nend_header\n";
    for (const auto& v : vertices)
        ply += std::to_string(v.x) + " " + std::to_string(v.y) + " " + std::to_string(v.z) + "\n";
    for (const auto& f : faces)
        ply += "3 " + std::to_string(f[0]) + " " + std::to_string(f[1]) + " " + std::to_string(f[2]) + "\n";
    return ply;
}

/// A regular-ish tetrahedron as ASCII STL (every facet has its own vertices).
std::string TetrahedronStl(bool zeroNormals = false)
{
    const glm::vec3 p[4] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const int faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
    std::string stl = "solid tetra\n";
    for (const auto& f : faces) {
        const glm::vec3 n =
            zeroNormals ? glm::vec3(0.0f) : glm::normalize(glm::cross(p[f[1]] - p[f[0]], p[f[2]] - p[f[0]]));
        stl += "facet normal " + std::to_string(n.x) + " " + std::to_string(n.y) + " " + std::to_string(n.z) +
               "\nouter loop\n";
        for (int k : f)
            stl += "vertex " + std::to_string(p[k].x) + " " + std::to_string(p[k].y) + " " + std::to_string(p[k].z) +
                   "\n";
        stl += "endloop\nendfacet\n";
    }
    return stl + "endsolid tetra\n";
}

/// glTF 2.0 with one triangle mesh referenced by two nodes under a moved parent.
std::string TriangleGltf()
{
    const float positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const uint16_t indices[3] = {0, 1, 2};
    std::vector<uint8_t> bytes(44, 0);
    std::memcpy(bytes.data(), positions, sizeof(positions));
    std::memcpy(bytes.data() + 36, indices, sizeof(indices));
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],
"nodes":[{"name":"Carrier","translation":[10,0,0],"children":[1,2]},
 {"name":"ArmA","mesh":0,"translation":[0,5,0]},{"name":"ArmB","mesh":0,"translation":[0,0,3]}],
"meshes":[{"name":"Plate","primitives":[{"attributes":{"POSITION":0},"indices":1}]}],
"buffers":[{"byteLength":44,"uri":"data:application/octet-stream;base64,)" +
           Base64(bytes) + R"("}],
"bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":36,"target":34962},
 {"buffer":0,"byteOffset":36,"byteLength":6,"target":34963}],
"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],"max":[1,1,0]},
 {"bufferView":1,"componentType":5123,"count":3,"type":"SCALAR"}]})";
}

bool HasName(const ImportedModel& model, const std::string& name)
{
    return std::any_of(model.names.begin(), model.names.end(), [&](const auto& entry) { return entry.second == name; });
}

} // namespace

// ---- Feature edges and the shapes of a mesh ----

TEST(ModelImporter, CubeGivesItsTwelveEdgesAndNoFaceDiagonals)
{
    orvtest::LogCapture log;
    const std::string path = WriteFile("cube.obj", kCubeObj);
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_TRUE(error.empty());
    EXPECT_EQ(model.meshes, 1u);
    EXPECT_EQ(model.triangles, 12u);
    EXPECT_EQ(model.featureEdges, 12u);

    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 1u);
    auto* shape = ShapeSceneNode::Cast(leaves[0]);
    ASSERT_NE(shape, nullptr);
    ASSERT_EQ(shape->GetPrimitives().size(), 2u);

    const auto faces = shape->GetPrimitive(0);
    EXPECT_EQ(faces->GetPrimitiveType(), PRIMITIVE_TRIANGLES);
    ASSERT_TRUE(faces->GetGeometry()->GetIndex());
    EXPECT_EQ(faces->GetGeometry()->GetPrimitiveCount(), 12u);
    // Faces stay flat: every vertex normal is the normal of its face.
    const auto normals = faces->GetGeometry()->GetNormals();
    ASSERT_TRUE(normals);
    for (std::size_t i = 0; i < normals->GetCount(); ++i) {
        const glm::vec3 n = glm::abs(normals->GetVec3(i));
        EXPECT_NEAR(std::max({n.x, n.y, n.z}), 1.0f, 1e-5f) << "vertex " << i;
        EXPECT_NEAR(n.x + n.y + n.z, 1.0f, 1e-5f) << "vertex " << i;
    }
    auto* phong = MeshPhongMaterial::Cast(faces->GetMaterial().get());
    ASSERT_NE(phong, nullptr);
    EXPECT_EQ(phong->GetColor(), ImportOptions().color);
    EXPECT_EQ(phong->GetFaceSide(), uint32_t(FACE_DOUBLE));
    EXPECT_FLOAT_EQ(phong->GetOpacity(), 1.0f);

    // Every segment is a whole cube edge: axis-parallel, length 2.
    const auto edges = shape->GetPrimitive(1);
    EXPECT_EQ(edges->GetPrimitiveType(), PRIMITIVE_LINES);
    ASSERT_NE(BasicMaterial::Cast(edges->GetMaterial().get()), nullptr);
    EXPECT_EQ(edges->GetMaterial()->GetColor(), ImportOptions().edgeColor);
    EXPECT_EQ(edges->GetMaterial()->LineWidth, 1);
    const auto positions = edges->GetPositions();
    ASSERT_EQ(positions->GetCount(), 24u);
    for (std::size_t i = 0; i < 24; i += 2) {
        const glm::vec3 d = glm::abs(positions->GetVec3(i + 1) - positions->GetVec3(i));
        EXPECT_FLOAT_EQ(d.x + d.y + d.z, 2.0f) << "segment " << i / 2;
        EXPECT_FLOAT_EQ(std::max({d.x, d.y, d.z}), 2.0f) << "segment " << i / 2;
    }

    // Geometry and node boxes are ready before any update.
    EXPECT_EQ(shape->GetBoundingBox().getMinimum(), glm::vec3(-1.0f));
    EXPECT_EQ(shape->GetBoundingBox().getMaximum(), glm::vec3(1.0f));
    EXPECT_TRUE(log.warnings.empty());
}

TEST(ModelImporter, FeatureAngleDecidesWhichEdgesCount)
{
    const std::string path = WriteFile("cube_angle.obj", kCubeObj);
    ImportOptions options;
    options.featureAngleDegrees = 100.0f; // the cube's 90 degree folds are below it
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, options, model, error)) << error;
    EXPECT_EQ(model.featureEdges, 0u);
    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 1u);
    auto* shape = ShapeSceneNode::Cast(leaves[0]);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(shape->GetPrimitives().size(), 1u); // no empty edge member

    options.featureAngleDegrees = 0.0f; // coplanar halves of a face still are no feature
    ASSERT_TRUE(ImportModel(path, options, model, error)) << error;
    EXPECT_EQ(model.featureEdges, 12u);
}

TEST(ModelImporter, SmoothCylinderKeepsOnlyItsRims)
{
    const int segments = 64;
    const std::string path = WriteFile("cylinder.ply", CylinderPly(segments));
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.triangles, std::size_t(4 * segments));
    // 6 edges per segment in all (vertical, diagonal, two rims, two spokes);
    // only the two rims fold by more than 30 degrees.
    EXPECT_EQ(model.featureEdges, std::size_t(2 * segments));

    // The side is shaded smooth: a rim vertex of the side has a radial normal.
    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 1u);
    const auto geometry = ShapeSceneNode::Cast(leaves[0])->GetPrimitive(0)->GetGeometry();
    const auto pos = geometry->GetPositions();
    const auto normals = geometry->GetNormals();
    ASSERT_TRUE(normals);
    bool radial = false;
    for (std::size_t i = 0; i < pos->GetCount(); ++i) {
        const glm::vec3 p = pos->GetVec3(i), n = normals->GetVec3(i);
        if (glm::length(glm::vec2(p)) > 0.5f && std::abs(n.z) < 1e-3f)
            radial = radial || glm::dot(glm::normalize(glm::vec2(p)), glm::vec2(n)) > 0.999f;
    }
    EXPECT_TRUE(radial);
}

TEST(ModelImporter, FindFeatureEdgesHandlesSeamsBadTrianglesAndNonManifoldEdges)
{
    // Two coplanar triangles whose shared corner positions appear twice, once
    // with -0: welded, the diagonal is smooth and the 4 outer edges remain.
    const float positions[] = {0, 0, 0, 1, 0, 0, 1, 1, 0, -0.0f, 0, 0, 1, 1, 0, 0, 1, 0};
    const uint32_t quad[] = {0, 1, 2, 3, 4, 5};
    std::vector<uint32_t> edges;
    EXPECT_EQ(orvrender::FindFeatureEdges(positions, 6, quad, 6, 30.0f, edges), 4u);
    EXPECT_EQ(edges.size(), 8u);
    for (uint32_t v : edges)
        EXPECT_LT(v, 6u);

    // Out-of-range, repeated-vertex and zero-area triangles add nothing.
    const uint32_t bad[] = {0, 1, 99, 0, 3, 1, 0, 1, 1};
    edges.clear();
    EXPECT_EQ(orvrender::FindFeatureEdges(positions, 6, bad, 9, 30.0f, edges), 0u);
    const float line[] = {0, 0, 0, 1, 0, 0, 2, 0, 0};
    const uint32_t sliver[] = {0, 1, 2};
    EXPECT_EQ(orvrender::FindFeatureEdges(line, 3, sliver, 3, 30.0f, edges), 0u);
    EXPECT_TRUE(edges.empty());

    // Three coplanar fins on one edge: that edge is a feature (non-manifold),
    // as are the 6 outer edges of one triangle each.
    const float fins[] = {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, -1, 0, 0.5f, 2, 0};
    const uint32_t finIndices[] = {0, 1, 2, 1, 0, 3, 0, 1, 4};
    EXPECT_EQ(orvrender::FindFeatureEdges(fins, 5, finIndices, 9, 30.0f, edges), 7u);
    EXPECT_EQ(orvrender::FindFeatureEdges(nullptr, 0, nullptr, 0, 30.0f, edges), 0u);
}

// ---- Formats, hierarchy and options ----

TEST(ModelImporter, AsciiStlIsWeldedBeforeEdgesAreFound)
{
    const std::string path = WriteFile("tetra.stl", TetrahedronStl());
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.meshes, 1u);
    EXPECT_EQ(model.triangles, 4u);
    EXPECT_EQ(model.featureEdges, 6u); // not 12 boundary edges of loose facets
    model.root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(model.root->GetWorldBBox().getMinimum(), glm::vec3(0.0f));
    EXPECT_EQ(model.root->GetWorldBBox().getMaximum(), glm::vec3(1.0f));

    // Zero facet normals (as many writers leave them) become outward face normals.
    const std::string zeroPath = WriteFile("tetra_zero.stl", TetrahedronStl(true));
    ASSERT_TRUE(ImportModel(zeroPath, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.featureEdges, 6u);
    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 1u);
    const auto geometry = ShapeSceneNode::Cast(leaves[0])->GetPrimitive(0)->GetGeometry();
    const auto index = geometry->GetIndex();
    ASSERT_TRUE(index);
    const glm::vec3 centre(0.25f);
    for (std::size_t t = 0; t < index->GetCount(); t += 3) {
        glm::vec3 corner[3];
        for (std::size_t k = 0; k < 3; ++k)
            corner[k] = geometry->GetPositions()->GetVec3(index->Get(t + k));
        const glm::vec3 middle = (corner[0] + corner[1] + corner[2]) / 3.0f;
        for (std::size_t k = 0; k < 3; ++k) {
            const glm::vec3 n = geometry->GetNormals()->GetVec3(index->Get(t + k));
            EXPECT_NEAR(glm::length(n), 1.0f, 1e-4f);
            EXPECT_GT(glm::dot(n, middle - centre), 0.0f) << "triangle " << t / 3;
        }
    }
}

TEST(ModelImporter, GltfNodesKeepTheirTransformsAndNames)
{
    const std::string path = WriteFile("plates.gltf", TriangleGltf());
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.meshes, 2u); // one mesh, referenced twice
    EXPECT_EQ(model.triangles, 2u);
    EXPECT_EQ(model.featureEdges, 6u);

    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 2u);
    // The mesh's shapes are shared, the leaves (and their places) are not.
    EXPECT_NE(leaves[0], leaves[1]);
    EXPECT_EQ(ShapeSceneNode::Cast(leaves[0])->GetPrimitive(0), ShapeSceneNode::Cast(leaves[1])->GetPrimitive(0));

    model.root->UpdateTransform(glm::mat4(1.0f));
    const AxisAlignedBox box = model.root->GetWorldBBox();
    EXPECT_EQ(box.getMinimum(), glm::vec3(10.0f, 0.0f, 0.0f));
    EXPECT_EQ(box.getMaximum(), glm::vec3(11.0f, 6.0f, 3.0f));

    EXPECT_TRUE(HasName(model, "Carrier"));
    EXPECT_TRUE(HasName(model, "ArmA"));
    EXPECT_TRUE(HasName(model, "ArmB"));
    EXPECT_EQ(std::count_if(model.names.begin(), model.names.end(),
                            [](const auto& entry) { return entry.second == "Plate"; }),
              2);
    for (const auto& entry : model.names)
        EXPECT_NE(entry.first, nullptr);
}

TEST(ModelImporter, EdgesOffGivesPrimitiveNodes)
{
    const std::string path = WriteFile("cube_plain.obj", kCubeObj);
    ImportOptions options;
    options.edges = false;
    options.opacity = 0.5f;
    options.color = glm::vec3(0.2f, 0.4f, 0.6f);
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, options, model, error)) << error;
    EXPECT_EQ(model.featureEdges, 0u);
    const auto leaves = Leaves(model);
    ASSERT_EQ(leaves.size(), 1u);
    auto* node = PrimitiveSceneNode::Cast(leaves[0]);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->GetPrimitive()->GetGeometry()->GetPrimitiveCount(), 12u);
    EXPECT_EQ(node->GetBoundingBox().getMaximum(), glm::vec3(1.0f));
    const auto& material = node->GetPrimitive()->GetMaterial();
    EXPECT_EQ(material->GetColor(), options.color);
    EXPECT_FLOAT_EQ(material->GetOpacity(), 0.5f);
    EXPECT_TRUE(material->IsTransparent());
}

TEST(ModelImporter, ObjMaterialColoursWin)
{
    WriteFile("paint.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n");
    const std::string path = WriteFile("painted.obj", "mtllib orvimport_paint.mtl\n"
                                                      "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n"
                                                      "usemtl red\nf 1 3 2\nf 1 2 4\n"
                                                      "usemtl blue\nf 1 4 3\nf 2 3 4\n");
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.meshes, 2u);
    EXPECT_EQ(model.triangles, 4u);
    std::vector<glm::vec3> colors;
    for (SceneNode* leaf : Leaves(model))
        colors.push_back(ShapeSceneNode::Cast(leaf)->GetPrimitive(0)->GetMaterial()->GetColor());
    ASSERT_EQ(colors.size(), 2u);
    EXPECT_TRUE(std::count(colors.begin(), colors.end(), glm::vec3(1, 0, 0)) == 1) << "red missing";
    EXPECT_TRUE(std::count(colors.begin(), colors.end(), glm::vec3(0, 0, 1)) == 1) << "blue missing";
}

// ---- Bad input ----

TEST(ModelImporter, MissingFileIsReported)
{
    orvtest::LogCapture log;
    const std::string path = ::testing::TempDir() + "orvimport_does_not_exist.stl";
    ImportedModel model;
    model.meshes = 7;
    std::string error;
    EXPECT_FALSE(ImportModel(path, ImportOptions(), model, error));
    EXPECT_EQ(error.rfind("cannot read " + path + ": ", 0), 0u) << error;
    EXPECT_GT(error.size(), ("cannot read " + path + ": ").size());
    EXPECT_EQ(log.warnings, std::vector<std::string>{error});
    EXPECT_EQ(model.root, nullptr);
    EXPECT_EQ(model.meshes, 0u);

    EXPECT_FALSE(ImportModel(::testing::TempDir(), ImportOptions(), model, error));
    EXPECT_EQ(error.rfind("cannot read ", 0), 0u) << error;
}

TEST(ModelImporter, GarbageAndEmptyFilesAreReported)
{
    std::string noise(300, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 151 + 7) % 256);
    const std::vector<std::string> paths = {
        WriteFile("noise.stl", noise),          WriteFile("noise.ply", "ply\n" + noise),
        WriteFile("noise.gltf", "{\"asset\":"), WriteFile("empty.obj", ""),
        WriteFile("empty.stl", ""),             WriteFile("noise.xyzzy", noise),
    };
    for (const std::string& path : paths) {
        orvtest::LogCapture log;
        ImportedModel model;
        std::string error;
        EXPECT_FALSE(ImportModel(path, ImportOptions(), model, error)) << path;
        const bool known = error.rfind("cannot read " + path + ": ", 0) == 0 || error == "no triangles in " + path;
        EXPECT_TRUE(known) << error;
        EXPECT_EQ(log.warnings, std::vector<std::string>{error});
        EXPECT_EQ(model.root, nullptr);
    }
}

TEST(ModelImporter, ModelWithoutTrianglesIsReported)
{
    orvtest::LogCapture log;
    const std::string path = WriteFile("wire.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nl 1 2 3\n");
    ImportedModel model;
    std::string error;
    EXPECT_FALSE(ImportModel(path, ImportOptions(), model, error));
    EXPECT_EQ(error, "no triangles in " + path);
    EXPECT_EQ(log.warnings, std::vector<std::string>{error});
    EXPECT_EQ(model.root, nullptr);
}
