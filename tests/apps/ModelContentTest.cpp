// What imported models keep: textures the right way up, vertex colours, the
// up axis, points and lines, and the names of the file's parts.
#include <orvrender/ModelImporter.h>
#include <orvrender/RenderSession.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

#include <orvkernel/gl/GlRenderDevice.h>
#include <orvkernel/texture/ImageTexture2D.h>

#include "TempFiles.h"

using orvtest::Scratch;
using orvtest::Write;

namespace {

std::string Base64(const std::string& bytes)
{
    static const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        uint32_t word = uint32_t(uint8_t(bytes[i])) << 16;
        for (std::size_t k = 1; k < 3; ++k)
            word |= i + k < bytes.size() ? uint32_t(uint8_t(bytes[i + k])) << (16 - 8 * k) : 0u;
        for (std::size_t k = 0; k < 4; ++k)
            out += k <= bytes.size() - i ? digits[(word >> (18 - 6 * k)) & 63] : '=';
    }
    return out;
}

/// A 2x2 checker, rows from the top: red, green / blue, white (transparent).
std::string CheckerPng()
{
    const uint8_t rgba[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 0};
    orvcore::GlRenderDevice::SavePng(Scratch() + "checker.png", 2, 2, rgba);
    std::ifstream in(Scratch() + "checker.png", std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// A glTF of one mesh (non-indexed attributes in a data URI) under `nodes`.
std::string Gltf(const std::string& nodes, const std::vector<std::pair<std::string, std::vector<float>>>& attributes,
                 const std::string& extra = "")
{
    std::string buffer, views, accessors, names;
    for (std::size_t i = 0; i < attributes.size(); ++i) {
        const std::vector<float>& values = attributes[i].second;
        const std::string size = std::to_string(values.size() * 4), comma = i ? "," : "";
        const bool uv = attributes[i].first == "TEXCOORD_0";
        views += comma + R"({"buffer":0,"byteOffset":)" + std::to_string(buffer.size()) + R"(,"byteLength":)" + size + "}";
        accessors += comma + R"({"bufferView":)" + std::to_string(i) + R"(,"componentType":5126,"count":)" +
                     std::to_string(values.size() / (uv ? 2 : 3)) + (uv ? R"(,"type":"VEC2"})" : R"(,"type":"VEC3","min":[-9,-9,-9],"max":[9,9,9]})");
        names += comma + "\"" + attributes[i].first + "\":" + std::to_string(i);
        buffer.append(reinterpret_cast<const char*>(values.data()), values.size() * 4);
    }
    const bool material = extra.find("materials") != std::string::npos;
    return R"({"asset":{"version":"2.0"},"scene":0,"scenes":[{"nodes":[0]}],"nodes":)" + nodes +
           R"(,"meshes":[{"name":"M","primitives":[{"attributes":{)" + names + "}" + (material ? R"(,"material":0)" : "") +
           "}]}]" + extra + R"(,"buffers":[{"byteLength":)" + std::to_string(buffer.size()) +
           R"(,"uri":"data:application/octet-stream;base64,)" + Base64(buffer) + R"("}],"bufferViews":[)" + views +
           "],\"accessors\":[" + accessors + "]}";
}

/// Draws a scene of one model seen from the top (64 x 64, black background).
std::unique_ptr<orvrender::RenderSession> Draw(const std::string& model, orvcore::ImageTexture2D& image)
{
    const std::string scene = Write("scene.json", R"({"camera": {"projection": "orthographic", "fit": "top"},
        "background": {"color": [0, 0, 0]}, "grid": {"visible": false}, "nodes": [)" + model + "]}");
    auto session = std::make_unique<orvrender::RenderSession>(64, 64, 1);
    std::string error;
    EXPECT_TRUE(session->IsReady() && session->LoadFile(scene, error)) << error << session->GetError();
    session->Render();
    EXPECT_TRUE(session->SavePng(Scratch() + "frame.png") && image.Load(Scratch() + "frame.png"));
    return session;
}

void ExpectColor(const orvcore::ImageTexture2D& image, int x, int y, const glm::vec3& expected)
{
    const uint8_t* p = &image.GetPixels()[(std::size_t(y) * image.GetWidth() + std::size_t(x)) * 4];
    const glm::vec3 got = glm::vec3(p[0], p[1], p[2]) / 255.0f;
    EXPECT_LT(glm::length(got - expected), 0.45f) << "at " << x << "," << y << ": " << got.r << " " << got.g << " " << got.b;
}

} // namespace

TEST(ModelContent, TexturesComeOutTheRightWayUp)
{
    // The checker's quadrants land on the screen's (top view, +Y up): from
    // an external PNG under OBJ's v-up UVs, and from a data URI under
    // glTF's v-down UVs on a quad in glTF's XZ plane (turned to Z-up),
    // where the transparent quadrant is masked off.
    const std::string png = CheckerPng();
    Write("checker.mtl", "newmtl checker\nKd 1 1 1\nmap_Kd checker.png\n");
    Write("checker.obj", "mtllib checker.mtl\nusemtl checker\nv 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                         "vt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3 4/4\n");
    Write("checker.gltf", Gltf(R"([{"mesh":0}])",
                               {{"POSITION", {0, 0, 0, 1, 0, 0, 1, 0, -1, 0, 0, 0, 1, 0, -1, 0, 0, -1}},
                                {"TEXCOORD_0", {0, 1, 1, 1, 1, 0, 0, 1, 1, 0, 0, 0}}},
                               R"(,"materials":[{"pbrMetallicRoughness":{"baseColorTexture":{"index":0}},)"
                               R"("alphaMode":"MASK","doubleSided":true}],"textures":[{"source":0}],)"
                               R"("images":[{"uri":"data:image/png;base64,)" + Base64(png) + "\"}]"));
    for (const auto& [file, lastQuadrant] : {std::pair<std::string, glm::vec3>{"checker.obj", glm::vec3(1)},
                                             {"checker.gltf", glm::vec3(0)}}) {
        SCOPED_TRACE(file);
        orvcore::ImageTexture2D image;
        Draw(R"({"type": "model", "file": ")" + file + R"(", "edges": false})", image);
        ExpectColor(image, 16, 16, {1, 0, 0});
        ExpectColor(image, 48, 16, {0, 1, 0});
        ExpectColor(image, 16, 48, {0, 0, 1});
        ExpectColor(image, 48, 48, lastQuadrant);
    }
}

TEST(ModelContent, ColoursPointsLinesAndPartNamesArePickable)
{
    struct Probe {
        int x, y;
        std::string name, shapeType;
        glm::vec3 color{-1.0f}; // negative: not checked
    };
    const std::string plyHead = "ply\nformat ascii 1.0\nelement vertex %\nproperty float x\nproperty float y\n"
                                "property float z\nproperty uchar red\nproperty uchar green\nproperty uchar blue\n";
    const auto ply = [&](const std::string& count, const std::string& rest) {
        return plyHead.substr(0, plyHead.find('%')) + count + plyHead.substr(plyHead.find('%') + 1) + rest;
    };
    // The wheel is the chassis' triangle moved right, one level further down.
    const std::vector<float> triangle = {0, 0, 0, 0.5f, 0, 0, 0, 0, -1};
    const struct {
        std::string file, content;
        std::vector<Probe> probes;
    } cases[] = {
        {"painted.ply",
         ply("6", "element face 2\nproperty list uchar int vertex_indices\nend_header\n0 0 0 255 0 0\n1 0 0 255 0 0\n"
                  "1 1 0 255 0 0\n0 0 0 0 255 0\n1 1 0 0 255 0\n0 1 0 0 255 0\n3 0 1 2\n3 3 4 5\n"),
         {{48, 48, "m", "face", {1, 0, 0}}, {16, 16, "m", "face", {0, 1, 0}}}},
        {"cloud.ply", ply("3", "end_header\n0 0 0 0 0 255\n0.5 0.5 0 255 0 0\n1 1 0 0 0 255\n"),
         {{32, 32, "m", "vertex", {1, 0, 0}}, {16, 16, "", ""}}},
        {"mixed.obj", "v 0 0 0\nv 1 1 0\nv 1 0 0\nv 0 0.8 0\nv 0.2 0.8 0\nv 0 1 0\nl 1 2 3\nf 4 5 6\n",
         {{32, 32, "m", "edge"}, {5, 11, "m", "face"}}},
        {"car.gltf",
         Gltf(R"([{"name":"car","children":[1,2]},{"name":"chassis","mesh":0},{"name":"axle","children":[3]},)"
              R"({"name":"wheel","mesh":0,"translation":[0.5,0,0]}])",
              {{"POSITION", triangle}}),
         {{8, 50, "m/chassis", "face"}, {38, 50, "m/axle/wheel", "face"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        Write(c.file, c.content);
        orvcore::ImageTexture2D image;
        auto session = Draw(R"({"type": "model", "name": "m", "edges": false, "file": ")" + c.file + "\"}", image);
        for (const Probe& probe : c.probes) {
            const orvrender::PickReport report = session->Pick(probe.x, probe.y);
            EXPECT_EQ(report.hit, !probe.name.empty()) << probe.x << "," << probe.y;
            EXPECT_EQ(report.name, probe.name) << probe.x << "," << probe.y;
            EXPECT_EQ(report.shapeType, probe.shapeType) << probe.x << "," << probe.y;
            if (probe.color.r >= 0.0f)
                ExpectColor(image, probe.x, probe.y, probe.color);
        }
    }
}

TEST(ModelContent, YUpFilesStandOnZ)
{
    // glTF is Y-up by its format; other files when told so.
    const std::string gltf = Write("tall.gltf", Gltf(R"([{"mesh":0}])", {{"POSITION", {0, 0, 0, 1, 0, 0, 0, 3, 2}}}));
    const std::string obj = Write("tall.obj", "v 0 0 0\nv 1 0 0\nv 0 3 2\nf 1 2 3\n");
    const glm::vec3 turned(0, 0, 3), kept(0, 3, 2); // (min x, max y, max z) of the world box
    using orvrender::UpAxis;
    for (const auto& [file, up, corner] : {std::make_tuple(gltf, UpAxis::Auto, turned), {gltf, UpAxis::Z, kept},
                                           {obj, UpAxis::Auto, kept}, {obj, UpAxis::Y, turned}}) {
        orvrender::ImportOptions options;
        options.up = up;
        orvrender::ImportedModel model;
        std::string error;
        ASSERT_TRUE(orvrender::ImportModel(file, options, model, error)) << error;
        model.root->UpdateTransform(glm::mat4(1.0f));
        const orvcore::AxisAlignedBox box = model.root->GetWorldBBox();
        const glm::vec3 got(box.getMinimum().x, box.getMaximum().y, box.getMaximum().z);
        EXPECT_LT(glm::length(got - corner), 1e-5f) << file << " up " << int(up);
    }
}

TEST(ModelContent, AssimpTestModelsRenderOrAreRefusedClearly)
{
    const std::string root = "/usr/share/assimp/models";
    if (!std::filesystem::is_directory(root))
        GTEST_SKIP() << "assimp-testmodels is not installed (apt-get install assimp-testmodels)";
    int rendered = 0, refused = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        std::string kind = entry.path().extension().string();
        for (char& c : kind)
            c = char(std::tolower(static_cast<unsigned char>(c)));
        if (!entry.is_regular_file() || !std::set<std::string>{".stl", ".obj", ".ply", ".gltf", ".glb", ".3mf"}.count(kind))
            continue;
        SCOPED_TRACE(entry.path().string());
        orvrender::RenderSession session(64, 64, 1); // the reader's own time limit stops a hang
        std::string error;
        const bool ok = session.LoadFile(
            Write("sweep.json", R"({"nodes": [{"type": "model", "file": ")" + entry.path().string() + "\"}]}"), error);
        (ok ? rendered : refused) += 1;
        EXPECT_TRUE(ok || error.find("/nodes/0/file: cannot read ") != std::string::npos ||
                    error.find("/nodes/0/file: no points, lines or triangles in ") != std::string::npos) << error;
        EXPECT_EQ(error.find('\n'), std::string::npos) << error;
    }
    std::printf("assimp-testmodels: %d rendered, %d refused\n", rendered, refused);
    EXPECT_GT(rendered, 0);
}
