#include <orvrender/ModelImporter.h>

#include <cstring>
#include <fstream>

#include <glm/gtc/constants.hpp>
#include <gtest/gtest.h>

#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include "LogCapture.h"
#include "TempFiles.h"

using namespace orvcore;
using orvrender::ImportedModel;
using orvrender::ImportModel;
using orvrender::ImportOptions;
using orvtest::Write;

namespace {

/// Every leaf below a node, depth first.
std::vector<SceneNode*> Leaves(SceneNode* node, std::vector<SceneNode*> leaves = {})
{
    if (auto* group = GroupSceneNode::Cast(node)) {
        for (const auto& entry : group->GetChildren())
            leaves = Leaves(entry.second.get(), std::move(leaves));
    } else if (node) {
        leaves.push_back(node);
    }
    return leaves;
}

/// Imports a file and returns its single shape node (or null, failing the test).
ShapeSceneNode* Import(const std::string& path, ImportedModel& model, const ImportOptions& options = {})
{
    std::string error;
    EXPECT_TRUE(ImportModel(path, options, model, error)) << error;
    const auto leaves = Leaves(model.root.get());
    EXPECT_EQ(leaves.size(), 1u);
    return leaves.size() == 1 ? ShapeSceneNode::Cast(leaves[0]) : nullptr;
}

const char* kCubeObj = "v -1 -1 -1\nv 1 -1 -1\nv 1 1 -1\nv -1 1 -1\n"
                       "v -1 -1 1\nv 1 -1 1\nv 1 1 1\nv -1 1 1\n"
                       "f 1 4 3 2\nf 5 6 7 8\nf 1 2 6 5\nf 2 3 7 6\nf 3 4 8 7\nf 4 1 5 8\n";

/// A closed cylinder (radius 1, z in [0, 2]) as ASCII PLY: `segments` side
/// quads split in two, and a fan on each cap around a centre vertex.
std::string CylinderPly(int segments)
{
    std::string vertices, faces;
    for (int i = 0; i < segments; ++i) {
        const float a = 2.0f * glm::pi<float>() * float(i) / float(segments);
        for (const char* z : {" 0\n", " 2\n"})
            vertices += std::to_string(std::cos(a)) + " " + std::to_string(std::sin(a)) + z;
        const int j = (i + 1) % segments, bottom = 2 * segments;
        for (const std::array<int, 3>& f : {std::array<int, 3>{2 * i, 2 * j, 2 * j + 1}, {2 * i, 2 * j + 1, 2 * i + 1},
                                            {bottom, 2 * j, 2 * i}, {bottom + 1, 2 * i + 1, 2 * j + 1}})
            faces += "3 " + std::to_string(f[0]) + " " + std::to_string(f[1]) + " " + std::to_string(f[2]) + "\n";
    }
    vertices += "0 0 0\n0 0 2\n";
    return "ply\nformat ascii 1.0\nelement vertex " + std::to_string(2 * segments + 2) +
           "\nproperty float x\nproperty float y\nproperty float z\nelement face " + std::to_string(4 * segments) +
           "\nproperty list uchar int vertex_indices\nend_header\n" + vertices + faces;
}

/// A regular-ish tetrahedron as ASCII STL (every facet has its own vertices).
std::string TetrahedronStl(bool zeroNormals)
{
    const glm::vec3 p[4] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const int faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {0, 3, 2}, {1, 2, 3}};
    const auto text = [](const glm::vec3& v) {
        return std::to_string(v.x) + " " + std::to_string(v.y) + " " + std::to_string(v.z) + "\n";
    };
    std::string stl = "solid tetra\n";
    for (const auto& f : faces) {
        const glm::vec3 n = glm::normalize(glm::cross(p[f[1]] - p[f[0]], p[f[2]] - p[f[0]]));
        stl += "facet normal " + text(zeroNormals ? glm::vec3(0.0f) : n) + "outer loop\n";
        for (int k : f)
            stl += "vertex " + text(p[k]);
        stl += "endloop\nendfacet\n";
    }
    return stl + "endsolid tetra\n";
}

} // namespace

// ---- Feature edges and the shapes of a mesh ----

TEST(ModelImporter, CubeGivesFlatFacesAndItsTwelveEdges)
{
    orvtest::LogCapture log;
    const std::string path = Write("cube.obj", kCubeObj);
    ImportedModel model;
    auto* shape = Import(path, model);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(model.meshes, 1u);
    EXPECT_EQ(model.triangles, 12u);
    EXPECT_EQ(model.featureEdges, 12u);
    ASSERT_EQ(shape->GetPrimitives().size(), 2u);
    // Geometry and node boxes are ready before any update.
    EXPECT_EQ(shape->GetBoundingBox(), AxisAlignedBox(glm::vec3(-1.0f), glm::vec3(1.0f)));

    const auto faces = shape->GetPrimitive(0);
    EXPECT_EQ(faces->GetPrimitiveType(), PRIMITIVE_TRIANGLES);
    ASSERT_TRUE(faces->GetGeometry()->GetIndex());
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
    EXPECT_EQ(std::make_tuple(phong->GetColor(), phong->GetFaceSide(), phong->GetOpacity()),
              std::make_tuple(ImportOptions().color, uint32_t(FACE_DOUBLE), 1.0f));

    // Every segment is a whole cube edge, no face diagonal: axis-parallel, length 2.
    const auto edges = shape->GetPrimitive(1);
    EXPECT_EQ(edges->GetPrimitiveType(), PRIMITIVE_LINES);
    ASSERT_NE(BasicMaterial::Cast(edges->GetMaterial().get()), nullptr);
    EXPECT_EQ(std::make_pair(edges->GetMaterial()->GetColor(), int(edges->GetMaterial()->LineWidth)),
              std::make_pair(ImportOptions().edgeColor, 1));
    const auto positions = edges->GetPositions();
    ASSERT_EQ(positions->GetCount(), 24u);
    for (std::size_t i = 0; i < 24; i += 2) {
        const glm::vec3 d = glm::abs(positions->GetVec3(i + 1) - positions->GetVec3(i));
        EXPECT_FLOAT_EQ(d.x + d.y + d.z, 2.0f) << "segment " << i / 2;
        EXPECT_FLOAT_EQ(std::max({d.x, d.y, d.z}), 2.0f) << "segment " << i / 2;
    }
    EXPECT_TRUE(log.warnings.empty());

    // The feature angle decides which edges count: the 90 degree folds are
    // below 100; coplanar halves of a face are no feature even at 0.
    ImportOptions options;
    options.featureAngleDegrees = 100.0f;
    shape = Import(path, model, options);
    EXPECT_EQ(model.featureEdges, 0u);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(shape->GetPrimitives().size(), 1u); // no empty edge member
    options.featureAngleDegrees = 0.0f;
    Import(path, model, options);
    EXPECT_EQ(model.featureEdges, 12u);

    // Without edges: a primitive node in the colour and opacity asked for.
    options.edges = false;
    options.opacity = 0.5f;
    options.color = glm::vec3(0.2f, 0.4f, 0.6f);
    std::string error;
    ASSERT_TRUE(ImportModel(path, options, model, error)) << error;
    EXPECT_EQ(model.featureEdges, 0u);
    ASSERT_EQ(Leaves(model.root.get()).size(), 1u);
    auto* node = PrimitiveSceneNode::Cast(Leaves(model.root.get())[0]);
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->GetPrimitive()->GetGeometry()->GetPrimitiveCount(), 12u);
    EXPECT_EQ(node->GetMaterial()->GetColor(), options.color);
    EXPECT_TRUE(node->GetMaterial()->IsTransparent());
}

TEST(ModelImporter, SmoothCylinderKeepsOnlyItsRims)
{
    const int segments = 64;
    ImportedModel model;
    auto* shape = Import(Write("cylinder.ply", CylinderPly(segments)), model);
    ASSERT_NE(shape, nullptr);
    EXPECT_EQ(model.triangles, std::size_t(4 * segments));
    // 6 edges per segment in all (vertical, diagonal, two rims, two spokes);
    // only the two rims fold by more than 30 degrees.
    EXPECT_EQ(model.featureEdges, std::size_t(2 * segments));
    // The side is shaded smooth: a rim vertex of the side has a radial normal.
    const auto geometry = shape->GetPrimitive(0)->GetGeometry();
    ASSERT_TRUE(geometry->GetNormals());
    bool radial = false;
    for (std::size_t i = 0; i < geometry->GetVertexCount(); ++i) {
        const glm::vec3 p = geometry->GetPositions()->GetVec3(i), n = geometry->GetNormals()->GetVec3(i);
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
    EXPECT_LT(*std::max_element(edges.begin(), edges.end()), 6u);

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

// ---- Formats, hierarchy and materials ----

TEST(ModelImporter, AsciiStlIsWeldedAndZeroNormalsFaceOutward)
{
    for (bool zeroNormals : {false, true}) {
        SCOPED_TRACE(zeroNormals ? "zero facet normals" : "facet normals");
        ImportedModel model;
        auto* shape = Import(Write("tetra.stl", TetrahedronStl(zeroNormals)), model);
        ASSERT_NE(shape, nullptr);
        EXPECT_EQ(model.triangles, 4u);
        EXPECT_EQ(model.featureEdges, 6u); // not 12 boundary edges of loose facets
        model.root->UpdateTransform(glm::mat4(1.0f));
        EXPECT_EQ(model.root->GetWorldBBox(), AxisAlignedBox(glm::vec3(0.0f), glm::vec3(1.0f)));
        // Many writers leave facet normals zero: they become outward face normals.
        const auto geometry = shape->GetPrimitive(0)->GetGeometry();
        ASSERT_TRUE(geometry->GetIndex());
        for (std::size_t t = 0; t < geometry->GetElementCount(); t += 3) {
            glm::vec3 middle(0.0f);
            for (std::size_t k = 0; k < 3; ++k)
                middle += geometry->GetPositions()->GetVec3(geometry->GetElementVertex(t + k)) / 3.0f;
            for (std::size_t k = 0; k < 3; ++k) {
                const glm::vec3 n = geometry->GetNormals()->GetVec3(geometry->GetElementVertex(t + k));
                EXPECT_NEAR(glm::length(n), 1.0f, 1e-4f);
                EXPECT_GT(glm::dot(n, middle - glm::vec3(0.25f)), 0.0f) << "triangle " << t / 3;
            }
        }
    }
}

TEST(ModelImporter, GltfNodesKeepTheirTransformsAndNames)
{
    // One triangle mesh referenced by two nodes under a moved parent; the
    // buffer lies beside the file.
    const float positions[9] = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    const uint16_t indices[3] = {0, 1, 2};
    std::string bytes(44, '\0');
    std::memcpy(&bytes[0], positions, sizeof(positions));
    std::memcpy(&bytes[36], indices, sizeof(indices));
    Write("plates.bin", bytes);
    const std::string path = Write("plates.gltf", R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],
"nodes":[{"name":"Carrier","translation":[10,0,0],"children":[1,2]},
 {"name":"ArmA","mesh":0,"translation":[0,5,0]},{"name":"ArmB","mesh":0,"translation":[0,0,3]}],
"meshes":[{"name":"Plate","primitives":[{"attributes":{"POSITION":0},"indices":1}]}],
"buffers":[{"byteLength":44,"uri":"plates.bin"}],
"bufferViews":[{"buffer":0,"byteOffset":0,"byteLength":36,"target":34962},
 {"buffer":0,"byteOffset":36,"byteLength":6,"target":34963}],
"accessors":[{"bufferView":0,"componentType":5126,"count":3,"type":"VEC3","min":[0,0,0],"max":[1,1,0]},
 {"bufferView":1,"componentType":5123,"count":3,"type":"SCALAR"}]})");
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.meshes, 2u); // one mesh, referenced twice
    EXPECT_EQ(model.triangles, 2u);
    EXPECT_EQ(model.featureEdges, 6u);
    const auto leaves = Leaves(model.root.get());
    ASSERT_EQ(leaves.size(), 2u);
    // The mesh's shapes are shared, the leaves (and their places) are not.
    EXPECT_NE(leaves[0], leaves[1]);
    EXPECT_EQ(ShapeSceneNode::Cast(leaves[0])->GetPrimitive(0), ShapeSceneNode::Cast(leaves[1])->GetPrimitive(0));
    model.root->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(model.root->GetWorldBBox(), AxisAlignedBox(glm::vec3(10, -3, 0), glm::vec3(11, 0, 6))); // Y-up turned

    std::multiset<std::string> names;
    for (const auto& entry : model.names)
        names.insert(entry.first ? entry.second : "(no node)");
    EXPECT_EQ(names, (std::multiset<std::string>{"ArmA", "ArmB", "Carrier", "Plate", "Plate"}));
}

TEST(ModelImporter, ObjMaterialColoursWin)
{
    Write("paint.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\n");
    const std::string path = Write("painted.obj", "mtllib paint.mtl\n"
                                                  "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\n"
                                                  "usemtl red\nf 1 3 2\nf 1 2 4\n"
                                                  "usemtl blue\nf 1 4 3\nf 2 3 4\n");
    ImportedModel model;
    std::string error;
    ASSERT_TRUE(ImportModel(path, ImportOptions(), model, error)) << error;
    EXPECT_EQ(model.meshes, 2u);
    EXPECT_EQ(model.triangles, 4u);
    std::vector<glm::vec3> colors;
    for (SceneNode* leaf : Leaves(model.root.get()))
        colors.push_back(ShapeSceneNode::Cast(leaf)->GetPrimitive(0)->GetMaterial()->GetColor());
    ASSERT_EQ(colors.size(), 2u);
    EXPECT_EQ(std::count(colors.begin(), colors.end(), glm::vec3(1, 0, 0)), 1) << "red missing";
    EXPECT_EQ(std::count(colors.begin(), colors.end(), glm::vec3(0, 0, 1)), 1) << "blue missing";
}

// ---- Bad input ----

TEST(ModelImporter, MissingGarbageEmptyAndTriangleFreeFilesAreReported)
{
    std::string noise(300, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = char((i * 151 + 7) % 256);
    const std::string missing = orvtest::Scratch() + "does_not_exist.stl";
    const std::string wire = Write("bare.gltf", R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[]}]})");
    const std::string paths[] = {missing, ::testing::TempDir(), Write("noise.stl", noise),
                                 Write("noise.ply", "ply\n" + noise), Write("noise.gltf", "{\"asset\":"),
                                 Write("empty.obj", ""), Write("empty.stl", ""),
                                 Write("noise.xyzzy", noise), wire};
    for (const std::string& path : paths) {
        SCOPED_TRACE(path);
        orvtest::LogCapture log;
        ImportedModel model;
        model.meshes = 7;
        std::string error;
        EXPECT_FALSE(ImportModel(path, ImportOptions(), model, error));
        const std::string reason = "cannot read " + path + ": ";
        EXPECT_TRUE((error.rfind(reason, 0) == 0 && error.size() > reason.size()) ||
                    error == "no points, lines or triangles in " + path)
            << error;
        EXPECT_EQ(log.warnings, std::vector<std::string>{error});
        EXPECT_EQ(model.root, nullptr);
        EXPECT_EQ(model.meshes, 0u);
        EXPECT_TRUE(path != missing || error.rfind(reason, 0) == 0);
        EXPECT_TRUE(path != wire || error == "no points, lines or triangles in " + path);
    }
}
