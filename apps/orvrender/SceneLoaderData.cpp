#include <orvrender/SceneLoader.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <orvkernel/plot/ColorLookupTable.h>
#include <orvcore/scene/ParticleSceneNode.h>
#include <orvcore/scene/SegmentsSceneNode.h>
#include <orvrender/PointFile.h>

// Streamed data nodes of a scene file: "particles" (a ring buffer of points)
// and "segments" (a ring buffer of line segments), fed from inline points or
// a point file. The data is written through the ring in file order, so a
// capacity below the data keeps its last `capacity` elements.

namespace orvrender {

using namespace json;

namespace {

const glm::vec3 kDefaultColor(0.72f, 0.74f, 0.78f);
/// Points of one point file (a capacity is bounded alike).
constexpr std::size_t kMaxFilePoints = 20000000;

} // namespace

void SceneLoader::ColorByCoordinate(const Json& node, const std::string& path, const Json& axis, PointCloud& data)
{
    const std::string axisPath = Child(path, "colorBy");
    const std::string name = String(axis, axisPath);
    if (name != "x" && name != "y" && name != "z")
        Fail(axisPath, "expected \"x\", \"y\" or \"z\", found \"" + name + "\"");
    if (Find(node, "color") || Find(node, "colors"))
        Fail(axisPath, "use one of \"color\", \"colors\" and \"colorBy\"");
    const int k = name == "x" ? 0 : name == "y" ? 1 : 2;

    std::string mapName = "viridis";
    if (const Json* map = Find(node, "map")) {
        mapName = String(*map, Child(path, "map"));
        if (!orvcore::ColorMapKeyword::IsNamed(mapName)) {
            std::string known;
            for (const std::string& n : orvcore::ColorMapKeyword::GetNames())
                known += (known.empty() ? "" : ", ") + n;
            Fail(Child(path, "map"), "unknown colour map \"" + mapName + "\" (known: " + known + ")");
        }
    }
    float lo = data.positions[0][k], hi = lo;
    for (const glm::vec3& p : data.positions) {
        lo = std::min(lo, p[k]);
        hi = std::max(hi, p[k]);
    }
    if (const Json* range = Find(node, "range")) {
        const auto bounds = Numbers<2>(*range, Child(path, "range"));
        if (!(bounds[0] < bounds[1]))
            Fail(Child(path, "range"), "the first bound must be below the second");
        lo = float(bounds[0]);
        hi = float(bounds[1]);
    }
    orvcore::ColorLookupTable table;
    table.SetColorMap(orvcore::ColorMapKeyword::Create(mapName));
    table.SetRange(lo, hi);
    data.colors.resize(data.positions.size());
    for (std::size_t i = 0; i < data.positions.size(); ++i)
        data.colors[i] = table.GetColor(data.positions[i][k]);
}

std::shared_ptr<orvcore::SceneNode> SceneLoader::BuildStream(const Json& node, const std::string& path,
                                                             const std::string& type)
{
    const bool segments = type == "segments";
    const Json* inline_ = Find(node, "points");
    const Json* file = Find(node, "file");
    if (!inline_ == !file)
        Fail(path, "give either \"points\" or \"file\", not both or neither");

    // The data: positions, and colours when the file or the node has them.
    PointCloud data;
    if (inline_) {
        const std::vector<float> flat = PointList(node, path, segments);
        for (std::size_t i = 0; i + 2 < flat.size(); i += 3)
            data.positions.emplace_back(flat[i], flat[i + 1], flat[i + 2]);
    } else {
        const std::string filePath = Child(path, "file");
        const std::string name = String(*file, filePath);
        if (name.empty())
            Fail(filePath, "a file name must not be empty");
        std::string error;
        if (!ReadPointFile(Resolve(name), kMaxFilePoints, data, error))
            Fail(filePath, error);
        if (segments && data.positions.size() % 2 != 0)
            Fail(filePath, "segments need pairs of points (an even count)");
    }
    if (const Json* colors = Find(node, "colors")) {
        const std::string colorsPath = Child(path, "colors");
        ExpectArray(*colors, colorsPath);
        if (colors->size() != data.positions.size())
            Fail(colorsPath, "needs one colour per point (" + std::to_string(data.positions.size()) + ")");
        data.colors.clear();
        for (std::size_t i = 0; i < colors->size(); ++i)
            data.colors.push_back(Color((*colors)[i], Child(colorsPath, i)));
    }
    const Json* color = Find(node, "color");
    const glm::vec3 uniform = color ? Color(*color, Child(path, "color")) : kDefaultColor;
    if (color) // one colour for all wins over the data's own
        data.colors.clear();
    if (const Json* axis = Find(node, "colorBy"))
        ColorByCoordinate(node, path, *axis, data);

    const std::size_t elements = segments ? data.positions.size() / 2 : data.positions.size();
    std::size_t capacity = elements;
    if (const Json* value = Find(node, "capacity"))
        capacity = std::size_t(Integer(*value, Child(path, "capacity"), 1, int64_t(kMaxFilePoints)));

    std::shared_ptr<orvcore::PrimitiveSceneNode> result;
    if (segments) {
        uint8_t width = 1;
        if (const Json* value = Find(node, "width"))
            width = uint8_t(Integer(*value, Child(path, "width"), 1, 255));
        auto lines = std::make_shared<orvcore::SegmentsSceneNode>(uint32_t(capacity), uniform, width);
        for (std::size_t i = 0; i < elements; ++i) {
            lines->SetPositions(uint32_t(i), data.positions[2 * i], data.positions[2 * i + 1]);
            if (!data.colors.empty())
                lines->SetColors(uint32_t(i), data.colors[2 * i], data.colors[2 * i + 1]);
        }
        result = lines;
    } else {
        float size = 2.0f;
        if (const Json* value = Find(node, "pointSize"))
            size = float(Bounded(*value, Child(path, "pointSize"), 0.0, 256.0, true));
        auto points = std::make_shared<orvcore::ParticleSceneNode>(uint32_t(capacity), uniform, size);
        for (std::size_t i = 0; i < elements; ++i) {
            points->SetPosition(uint32_t(i), data.positions[i]);
            if (!data.colors.empty())
                points->SetColor(uint32_t(i), data.colors[i]);
        }
        result = points;
    }
    const float opacity = Opacity(node, path);
    if (opacity < 1.0f && result->GetMaterial()) {
        result->GetMaterial()->SetOpacity(opacity);
        result->GetMaterial()->BlendingMode = orvcore::BLENDING_TRANSPARENT;
        result->GetMaterial()->RequestUpdate();
    }
    result->UpdateBoundingBox();
    return result;
}

} // namespace orvrender
