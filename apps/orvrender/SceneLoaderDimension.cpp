#include <orvrender/SceneLoader.h>

#include <string>
#include <vector>

#include <orvcore/dimension/AlignedDimensionNode.h>
#include <orvcore/dimension/LinearDimensionNode.h>

// The "dimension" node kind: an aligned or linear dimension between points
// given in the node's own coordinates.

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

namespace {

constexpr std::size_t kMaxDimensionPoints = 256;

// An axis by name ("x", "y", "z") or as a vector.
glm::vec3 Axis(const Json& value, const std::string& path)
{
    if (value.is_string()) {
        const std::string name = String(value, path);
        if (name == "x")
            return glm::vec3(1.0f, 0.0f, 0.0f);
        if (name == "y")
            return glm::vec3(0.0f, 1.0f, 0.0f);
        if (name == "z")
            return glm::vec3(0.0f, 0.0f, 1.0f);
        Fail(path, "expected \"x\", \"y\", \"z\" or a vector, found \"" + name + "\"");
    }
    const glm::vec3 axis = Vec3(value, path);
    if (axis == glm::vec3(0.0f))
        Fail(path, "a direction must not be zero");
    return axis;
}

// One of a few names.
std::string Choice(const Json& node, const char* key, const std::string& path, const std::string& first,
                   const std::string& second)
{
    const Json* value = Find(node, key);
    if (!value)
        return first;
    const std::string name = String(*value, Child(path, key));
    if (name != first && name != second)
        Fail(Child(path, key), "expected \"" + first + "\" or \"" + second + "\", found \"" + name + "\"");
    return name;
}

float OptionalLength(const Json& node, const char* key, const std::string& path, float fallback, bool zeroAllowed)
{
    const Json* value = Find(node, key);
    if (!value)
        return fallback;
    if (zeroAllowed && Number(*value, Child(path, key)) == 0.0)
        return 0.0f;
    return Length(*value, Child(path, key));
}

} // namespace

std::shared_ptr<SceneNode> SceneLoader::BuildDimension(const Json& node, const std::string& path)
{
    const bool linear = Choice(node, "kind", path, "aligned", "linear") == "linear";
    std::vector<glm::vec3> points;
    const Json* list = Find(node, "points");
    if (list) {
        const std::string listPath = Child(path, "points");
        if (!linear)
            Fail(listPath, "only a linear dimension takes a chain of points; use \"start\" and \"end\"");
        if (Find(node, "start") || Find(node, "end"))
            Fail(listPath, "use either \"points\" or \"start\" and \"end\", not both");
        ExpectArray(*list, listPath);
        if (list->size() < 2 || list->size() > kMaxDimensionPoints)
            Fail(listPath, "needs 2 to " + std::to_string(kMaxDimensionPoints) + " points");
        for (std::size_t i = 0; i < list->size(); ++i)
            points.push_back(Vec3((*list)[i], Child(listPath, i)));
    } else {
        points.push_back(Vec3(Require(node, "start", path), Child(path, "start")));
        points.push_back(Vec3(Require(node, "end", path), Child(path, "end")));
    }
    const Json* offsetValue = Find(node, "offset");
    const float offset =
        offsetValue ? static_cast<float>(Bounded(*offsetValue, Child(path, "offset"), -1e7, 1e7, false)) : 10.0f;
    const Json* normalValue = Find(node, "normal");
    const glm::vec3 normal = normalValue ? Axis(*normalValue, Child(path, "normal")) : glm::vec3(0.0f, 0.0f, 1.0f);
    std::wstring text;
    if (const Json* value = Find(node, "text")) {
        const std::string utf8 = String(*value, Child(path, "text"));
        if (utf8.size() > 4096)
            Fail(Child(path, "text"), "too large (at most 4096 bytes)");
        text = Widen(utf8);
    }

    std::shared_ptr<orvcore::DimensionNode> dimension;
    if (linear) {
        const Json* axisValue = Find(node, "axis");
        const glm::vec3 axis = axisValue ? Axis(*axisValue, Child(path, "axis")) : glm::vec3(1.0f, 0.0f, 0.0f);
        auto chain = std::make_shared<orvcore::LinearDimensionNode>(points, offset, normal, axis);
        if (!text.empty())
            chain->SetTexts(std::vector<std::wstring>(points.size() - 1, text));
        dimension = chain;
    } else {
        if (Find(node, "axis"))
            Fail(Child(path, "axis"), "only a linear dimension measures along an axis");
        dimension = std::make_shared<orvcore::AlignedDimensionNode>(points[0], points[1], offset, normal, text);
    }
    dimension->SetArrowStyle(Choice(node, "arrow", path, "filled", "tick") == "filled"
                                 ? orvcore::DIMENSION_ARROW_FILLED
                                 : orvcore::DIMENSION_ARROW_TICK);
    if (const Json* facing = Find(node, "facing")) {
        const std::string name = String(*facing, Child(path, "facing"));
        if (name == "camera")
            dimension->SetLabelFacing(orvcore::DIMENSION_LABEL_FACING_CAMERA);
        else if (name == "upright")
            dimension->SetLabelFacing(orvcore::DIMENSION_LABEL_UPRIGHT);
        else if (name != "plane")
            Fail(Child(path, "facing"), "expected \"plane\", \"upright\" or \"camera\", found \"" + name + "\"");
    }
    if (const Json* precision = Find(node, "precision"))
        dimension->SetPrecision(static_cast<int>(Integer(*precision, Child(path, "precision"), 0, 9)));
    if (const Json* unit = Find(node, "unit")) {
        const std::string suffix = String(*unit, Child(path, "unit"));
        if (suffix.size() > 64)
            Fail(Child(path, "unit"), "too large (at most 64 bytes)");
        dimension->SetUnit(Widen(suffix));
    }
    dimension->SetFontHeight(OptionalLength(node, "textHeight", path, 5.0f, false));
    dimension->SetArrowLength(OptionalLength(node, "arrowLength", path, 3.0f, false));
    dimension->SetExtensionBeyond(OptionalLength(node, "extension", path, 4.0f, true));
    dimension->SetExtensionOffset(OptionalLength(node, "overshoot", path, 0.0f, true));
    ApplyColor(*dimension->GetMaterial(), node, path, glm::vec3(0.0f));

    if (auto* aligned = orvcore::AlignedDimensionNode::Cast(dimension.get()))
        aligned->Update();
    else if (auto* chain = orvcore::LinearDimensionNode::Cast(dimension.get()))
        chain->Update();
    if (dimension->GetCount() == 0)
        Fail(path, "the dimension could not be built (points that coincide along it, or a normal along it)");
    return dimension;
}

} // namespace orvrender
