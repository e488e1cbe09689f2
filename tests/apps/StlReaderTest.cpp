#include <orvrender/ModelImporter.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>

#include <glm/gtc/constants.hpp>
#include <gtest/gtest.h>

#include <orvcore/scene/ShapeSceneNode.h>

#include "LogCapture.h"
#include "TempFiles.h"

using namespace orvcore;
using orvrender::ImportedModel;
using orvrender::ImportModel;
using orvrender::ImportOptions;
using orvtest::Write;

namespace {

using Triangle = std::array<glm::vec3, 3>;

/// A closed cylinder (radius 1, z in [0, 2]) of `segments` sides: smooth
/// along the side, creased at the rims.
std::vector<Triangle> Cylinder(int segments)
{
    std::vector<Triangle> triangles;
    const glm::vec3 bottom(0, 0, 0), top(0, 0, 2);
    for (int i = 0; i < segments; ++i) {
        const auto at = [&](int k, float z) {
            const float a = 2.0f * glm::pi<float>() * float(k % segments) / float(segments);
            return glm::vec3(std::cos(a), std::sin(a), z);
        };
        triangles.push_back({at(i, 0), at(i + 1, 0), at(i + 1, 2)});
        triangles.push_back({at(i, 0), at(i + 1, 2), at(i, 2)});
        triangles.push_back({bottom, at(i + 1, 0), at(i, 0)});
        triangles.push_back({top, at(i, 2), at(i + 1, 2)});
    }
    return triangles;
}

glm::vec3 FacetNormal(const Triangle& t) { return glm::normalize(glm::cross(t[1] - t[0], t[2] - t[0])); }

std::string BinaryStl(const std::vector<Triangle>& triangles, bool normals, const char* header = "binary",
                      uint32_t announced = std::numeric_limits<uint32_t>::max())
{
    std::string bytes(80, '\0');
    std::memcpy(&bytes[0], header, std::min<std::size_t>(std::strlen(header), 80));
    const uint32_t count = announced != std::numeric_limits<uint32_t>::max() ? announced : uint32_t(triangles.size());
    bytes.append(reinterpret_cast<const char*>(&count), 4);
    for (const Triangle& t : triangles) {
        const glm::vec3 n = normals ? FacetNormal(t) : glm::vec3(0.0f);
        bytes.append(reinterpret_cast<const char*>(&n), 12);
        for (const glm::vec3& p : t)
            bytes.append(reinterpret_cast<const char*>(&p), 12);
        bytes.append(2, '\0');
    }
    return bytes;
}

/// The same triangles as ASCII STL (read by Assimp).
std::string AsciiStl(const std::vector<Triangle>& triangles, bool normals)
{
    const auto text = [](const glm::vec3& v) {
        char line[96];
        std::snprintf(line, sizeof(line), "%.9g %.9g %.9g\n", double(v.x), double(v.y), double(v.z));
        return std::string(line);
    };
    std::string stl = "solid part\n";
    for (const Triangle& t : triangles) {
        stl += "facet normal " + text(normals ? FacetNormal(t) : glm::vec3(0.0f)) + "outer loop\n";
        for (const glm::vec3& p : t)
            stl += "vertex " + text(p);
        stl += "endloop\nendfacet\n";
    }
    return stl + "endsolid part\n";
}

/// The triangle geometry of the first shape below a node.
std::shared_ptr<BufferGeometry> Faces(SceneNode* node)
{
    if (auto* shape = ShapeSceneNode::Cast(node))
        return shape->GetPrimitive(0)->GetGeometry();
    if (auto* group = GroupSceneNode::Cast(node))
        for (const auto& entry : group->GetChildren())
            if (auto geometry = Faces(entry.second.get()))
                return geometry;
    return nullptr;
}

} // namespace

TEST(StlReader, BinaryStlMatchesTheAssimpPathCornerByCorner)
{
    // ASCII STL goes through Assimp; binary STL is read directly. Both must
    // give the same vertices, normals (smooth within the feature angle,
    // split at the rims), triangles and feature edges.
    const std::vector<Triangle> cylinder = Cylinder(24);
    for (bool normals : {false, true}) {
        SCOPED_TRACE(normals ? "facet normals" : "zero facet normals");
        ImportedModel binary, ascii;
        std::string error;
        ASSERT_TRUE(ImportModel(Write("cyl.stl", BinaryStl(cylinder, normals)), {}, binary, error)) << error;
        ASSERT_TRUE(ImportModel(Write("cyl_ascii.stl", AsciiStl(cylinder, normals)), {}, ascii, error)) << error;
        EXPECT_EQ(binary.triangles, cylinder.size());
        EXPECT_EQ(binary.featureEdges, ascii.featureEdges);
        EXPECT_EQ(binary.featureEdges, 48u); // the rims (from the positions, whatever the normals)
        const auto a = Faces(binary.root.get()), b = Faces(ascii.root.get());
        ASSERT_TRUE(a && b);
        EXPECT_EQ(a->GetPositions()->GetCount(), b->GetPositions()->GetCount());
        ASSERT_EQ(a->GetElementCount(), b->GetElementCount());
        for (std::size_t i = 0; i < a->GetElementCount(); ++i) {
            const std::size_t va = a->GetElementVertex(i), vb = b->GetElementVertex(i);
            // Assimp's text parser may be one unit in the last place off.
            EXPECT_LT(glm::length(a->GetPositions()->GetVec3(va) - b->GetPositions()->GetVec3(vb)), 1e-6f)
                << "corner " << i;
            EXPECT_LT(glm::length(a->GetNormals()->GetVec3(va) - b->GetNormals()->GetVec3(vb)), 1e-5f)
                << "corner " << i;
        }
    }
}

TEST(StlReader, LyingTruncatedAndDamagedBinaryFilesAreReported)
{
    const std::vector<Triangle> cylinder = Cylinder(6);
    struct Case {
        std::string name, bytes;
        std::size_t triangles;   // 0: refused
        std::string message;     // the reason or the warning, after "<path>: "
        std::size_t memoryLimit; // MiB
    };
    std::vector<Triangle> withNan = cylinder;
    withNan[3][1].y = std::numeric_limits<float>::quiet_NaN();
    withNan[5][0].x = std::numeric_limits<float>::infinity();
    const Case cases[] = {
        {"lying.stl", BinaryStl(cylinder, false, "binary", 1000), 0, "the binary STL announces 1000 triangles but holds 24",
         8192},
        {"cut.stl", BinaryStl(cylinder, false).substr(0, 84 + 50 * 7 + 20), 0,
         "the binary STL announces 24 triangles but holds 7", 8192},
        {"tail.stl", BinaryStl(cylinder, false) + "tail!!!", 24, "7 bytes after the last triangle ignored", 8192},
        {"nan.stl", BinaryStl(withNan, true), 22, "2 triangles with coordinates that are not numbers left out", 8192},
        {"big.stl", BinaryStl(cylinder, false), 0, "reading 24 triangles would take more than 0 MiB", 0},
        {"solid_binary.stl", BinaryStl(cylinder, true, "solid exported as binary"), 24, "", 8192},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string path = Write(c.name, c.bytes);
        orvtest::LogCapture log;
        ImportOptions options;
        options.memoryLimitMb = c.memoryLimit;
        ImportedModel model;
        std::string error;
        const bool ok = ImportModel(path, options, model, error);
        EXPECT_EQ(ok, c.triangles > 0) << error;
        EXPECT_EQ(model.triangles, c.triangles);
        if (!ok) {
            if (!c.message.empty()) {
                EXPECT_EQ(error, "cannot read " + path + ": " + c.message);
            }
            EXPECT_EQ(error.rfind("cannot read " + path + ": ", 0), 0u) << error;
            EXPECT_EQ(log.warnings, std::vector<std::string>{error});
        } else if (!c.message.empty()) {
            EXPECT_EQ(log.warnings, std::vector<std::string>{path + ": " + c.message});
        } else {
            EXPECT_TRUE(log.warnings.empty());
        }
    }

    // No triangles at all: refused like any empty model.
    const std::string empty = Write("none.stl", BinaryStl({}, false));
    orvtest::LogCapture log;
    ImportedModel model;
    std::string error;
    EXPECT_FALSE(ImportModel(empty, {}, model, error));
    EXPECT_EQ(error, "no points, lines or triangles in " + empty);
}
