// Point files in every format the scene loader reads, written from the same
// points and read back; faults named by line or element; the streamed node
// kinds of scene files, fed through their rings.
#include <orvrender/PointFile.h>
#include <orvrender/SceneFile.h>

#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include <orvcore/scene/ParticleSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/SegmentsSceneNode.h>

#include "TempFiles.h"

namespace {

struct Sample {
    std::vector<glm::vec3> points, colors; // colours as bytes / 255
};

Sample MakeSample(std::size_t n)
{
    Sample s;
    for (std::size_t i = 0; i < n; ++i) {
        s.points.emplace_back(float(i) * 0.5f - 3.25f, float(i * i % 11) * -1.25f, float(i % 4) * 2.0f + 0.125f);
        s.colors.emplace_back(float(i * 40 % 256) / 255.0f, float(255 - i * 13 % 256) / 255.0f, float(i % 2) * 1.0f);
    }
    return s;
}

template <typename T>
void Put(std::string& out, T value, bool big)
{
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if (big)
        std::reverse(bytes, bytes + sizeof(T));
    out.append(bytes, sizeof(T));
}

// A PLY file of the sample: a face element before the vertices (so its
// lists must be skipped), doubles for positions, bytes for colours, an
// extra int property between them.
std::string Ply(const Sample& s, const std::string& format)
{
    std::ostringstream h;
    h << "ply\nformat " << format << " 1.0\ncomment test\nelement face 2\nproperty list uchar int vertex_indices\n"
      << "element vertex " << s.points.size() << "\nproperty double x\nproperty double y\nproperty double z\n"
      << "property int label\nproperty uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    std::string out = h.str();
    const bool ascii = format == "ascii", big = format == "binary_big_endian";
    if (ascii) {
        out += "3 0 1 2\n4 0 1 2 3\n";
    } else {
        for (int faces = 3; faces <= 4; ++faces) {
            Put<uint8_t>(out, uint8_t(faces), big);
            for (int k = 0; k < faces; ++k)
                Put<int32_t>(out, k, big);
        }
    }
    for (std::size_t i = 0; i < s.points.size(); ++i) {
        const glm::vec3& p = s.points[i];
        const glm::ivec3 c = glm::ivec3(glm::round(s.colors[i] * 255.0f));
        if (ascii) {
            std::ostringstream line;
            line.precision(9);
            line << p.x << " " << p.y << " " << p.z << " -7 " << c.r << " " << c.g << " " << c.b << "\n";
            out += line.str();
        } else {
            Put<double>(out, p.x, big);
            Put<double>(out, p.y, big);
            Put<double>(out, p.z, big);
            Put<int32_t>(out, -7, big);
            Put<uint8_t>(out, uint8_t(c.r), big);
            Put<uint8_t>(out, uint8_t(c.g), big);
            Put<uint8_t>(out, uint8_t(c.b), big);
        }
    }
    return out;
}

std::string Text(const Sample& s, const std::function<std::string(const glm::vec3&, const glm::vec3&)>& line)
{
    std::string out;
    for (std::size_t i = 0; i < s.points.size(); ++i)
        out += line(s.points[i], s.colors[i]);
    return out;
}

std::string Num(float v)
{
    std::ostringstream o;
    o.precision(9);
    o << v;
    return o.str();
}

} // namespace

TEST(PointFile, EveryFormatReadsBackTheSamePoints)
{
    const Sample s = MakeSample(23);
    struct Case {
        const char* name;
        std::string content;
        bool colors;
    };
    const Case cases[] = {
        {"a.xyz", "# scanner output\n\n" + Text(s, [](const glm::vec3& p, const glm::vec3&) {
             return Num(p.x) + " " + Num(p.y) + "\t" + Num(p.z) + " 0 0 1\r\n"; // normals ignored
         }), false},
        {"b.csv", Text(s, [](const glm::vec3& p, const glm::vec3&) {
             return Num(p.x) + "," + Num(p.y) + ", " + Num(p.z) + "\n";
         }), false},
        {"c.csv", "Red;X;Green;Y;Blue;Z\n" + Text(s, [](const glm::vec3& p, const glm::vec3& c) {
             const glm::ivec3 b = glm::ivec3(glm::round(c * 255.0f));
             return std::to_string(b.r) + ";" + Num(p.x) + ";" + std::to_string(b.g) + ";" + Num(p.y) + ";" +
                    std::to_string(b.b) + ";" + Num(p.z) + "\n";
         }), true},
        {"d.ply", Ply(s, "ascii"), true},
        {"e.ply", Ply(s, "binary_little_endian"), true},
        {"f.ply", Ply(s, "binary_big_endian"), true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        orvrender::PointCloud cloud;
        std::string error;
        ASSERT_TRUE(orvrender::ReadPointFile(orvtest::Write(c.name, c.content), 1000, cloud, error)) << error;
        ASSERT_EQ(cloud.positions.size(), s.points.size());
        ASSERT_EQ(cloud.colors.size(), c.colors ? s.points.size() : 0u);
        for (std::size_t i = 0; i < s.points.size(); ++i) {
            EXPECT_EQ(cloud.positions[i], s.points[i]) << i;
            if (c.colors) {
                EXPECT_LT(glm::length(cloud.colors[i] - s.colors[i]), 1e-5f) << i;
            }
        }
    }
}

TEST(PointFile, FaultsAreNamedAndLeaveNoPoints)
{
    const Sample s = MakeSample(5);
    std::string truncated = Ply(s, "binary_little_endian");
    truncated.resize(truncated.size() - 3);
    const struct {
        const char* name;
        std::string content;
        std::size_t max;
        const char* message;
    } cases[] = {
        {"bad.xyz", "1 2 3\n4 five 6\n", 10, "line 2: expected three finite coordinates"},
        {"nan.xyz", "1 2 nan\n", 10, "line 1: expected three finite coordinates"},
        {"short.csv", "x,y\n1,2\n", 10, "line 1: the header names no x, y and z columns"},
        {"many.xyz", "1 2 3\n4 5 6\n7 8 9\n", 2, "too many points (at most 2)"},
        {"empty.xyz", "# nothing\n", 10, "the file holds no points"},
        {"cut.ply", truncated, 10, "the PLY vertex element is malformed or truncated at item 4"},
        {"head.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n", 10, "the PLY header has no end_header"},
        {"noxyz.ply", "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\nend_header\n1\n", 10,
         "the PLY vertex element has no x, y and z"},
        {"big.ply", Ply(s, "ascii"), 4, "too many points (at most 4)"},
        {"a.obj", "v 1 2 3\n", 10, "unknown point file type \".obj\" (expected .xyz, .pts, .txt, .csv or .ply)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        orvrender::PointCloud cloud;
        std::string error;
        EXPECT_FALSE(orvrender::ReadPointFile(orvtest::Write(c.name, c.content), c.max, cloud, error));
        EXPECT_EQ(error, c.message);
        EXPECT_TRUE(cloud.positions.empty() && cloud.colors.empty());
    }
}

TEST(PointFile, SceneNodesStreamTheirDataThroughTheRing)
{
    const Sample s = MakeSample(10);
    const std::string file = orvtest::Write("ring.xyz", Text(s, [](const glm::vec3& p, const glm::vec3&) {
        return Num(p.x) + " " + Num(p.y) + " " + Num(p.z) + "\n";
    }));
    const std::string text = R"({"nodes": [
        {"type": "particles", "name": "cloud", "file": ")" + file + R"(", "capacity": 4, "pointSize": 3},
        {"type": "segments", "name": "sticks", "file": ")" + file + R"(", "width": 2, "color": [1, 0, 0]}]})";
    orvcore::SceneManager manager(200, 200);
    orvrender::SceneInfo info;
    std::string error;
    ASSERT_TRUE(orvrender::LoadSceneText(text, "scene.json", "", manager, info, error)) << error;
    const orvcore::ParticleSceneNode* cloud = nullptr;
    const orvcore::SegmentsSceneNode* sticks = nullptr;
    for (const auto& entry : info.names) {
        cloud = cloud ? cloud : orvcore::ParticleSceneNode::Cast(entry.first);
        sticks = sticks ? sticks : orvcore::SegmentsSceneNode::Cast(entry.first);
    }
    ASSERT_TRUE(cloud && sticks);
    ASSERT_EQ(cloud->GetSeedCount(), 4u);
    for (uint32_t i = 6; i < 10; ++i) // the last four points, each in slot i mod 4
        EXPECT_EQ(cloud->GetPosition(i % 4), s.points[i]);
    ASSERT_EQ(sticks->GetSegmentCount(), 5u);
    EXPECT_EQ(sticks->GetEnd(4), s.points[9]);
    EXPECT_EQ(sticks->GetStartColor(2), glm::vec3(1, 0, 0));
    EXPECT_EQ(sticks->GetMaterial()->LineWidth, 2);

    const std::string odd = orvtest::Write("odd.xyz", "1 2 3\n4 5 6\n7 8 9\n");
    for (const auto& bad : {std::make_pair(R"({"type": "segments", "file": ")" + odd + R"("})",
                                           "/nodes/0/file: segments need pairs of points (an even count)"),
                            std::make_pair(std::string(R"({"type": "particles"})"),
                                           "/nodes/0: give either \"points\" or \"file\", not both or neither"),
                            std::make_pair(std::string(R"({"type": "particles", "points": [[1,2,3]], "capacity": 0})"),
                                           "/nodes/0/capacity")}) {
        orvcore::SceneManager other(200, 200);
        EXPECT_FALSE(orvrender::LoadSceneText(R"({"nodes": [)" + bad.first + "]}", "scene.json", "", other, info, error));
        EXPECT_NE(error.find(bad.second), std::string::npos) << error;
    }
}
