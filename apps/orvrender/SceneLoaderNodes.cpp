#include <orvrender/SceneLoader.h>

#include <cmath>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <glm/gtc/matrix_transform.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvkernel/geometry/GeometryBuilder.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvcore/scene/Scene2D.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvcore/scene/TagNode2D.h>
#include <orvcore/scene/TextSceneNode.h>
#include <orvrender/ModelImporter.h>

// Each kind of node a scene file may hold, built from its JSON object:
// groups, solids, points and lines, texts, tags and imported models. The
// loader's walk and the attributes shared by every kind are in
// SceneLoader.cpp.

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

std::shared_ptr<SceneNode> SceneLoader::BuildNode(const Json& node, const std::string& path, std::size_t depth, bool topLevel)
{
    if (++m_NodeCount > kMaxNodes)
        Fail(path, "too large (more than " + std::to_string(kMaxNodes) + " nodes)");
    if (depth > kMaxDepth)
        Fail(path, "groups are nested too deeply (at most " + std::to_string(kMaxDepth) + " levels)");
    ExpectObject(node, path);
    const std::string type = String(Require(node, "type", path), Child(path, "type"));
    static const std::set<std::string> common = {"type", "name", "userId", "visible", "pickable", "translate",
                                                 "rotate", "scale", "matrix", "color", "opacity"};
    static const std::map<std::string, std::set<std::string>> own = {
        {"group", {"children"}},
        {"box", {"size", "edges", "edgeColor"}},
        {"sphere", {"radius", "segments"}},
        {"cylinder", {"radius", "height", "segments", "edges", "edgeColor"}},
        {"cone", {"radius", "height", "segments", "edges", "edgeColor"}},
        {"plane", {"size", "edges", "edgeColor"}},
        {"points", {"points", "pointSize"}},
        {"lines", {"points", "width"}},
        {"particles", {"points", "file", "colors", "colorBy", "map", "range", "capacity", "pointSize"}},
        {"segments", {"points", "file", "colors", "colorBy", "map", "range", "capacity", "width"}},
        {"model", {"file", "featureAngle", "edges", "edgeColor", "up"}},
        {"text", {"text", "height", "form", "billboard"}},
        {"tag", {"text", "height", "target", "position", "offset", "lineColor"}},
        {"robot", {"joints", "links", "axisSize", "showJoints", "showVirtualLinks", "motion"}},
        {"axes", {"size", "length", "mark"}},
        {"move", {"length", "mark"}},
        {"rotate", {"radius", "mark"}},
        {"scale", {"length", "mark"}},
        {"viewCube", {"size"}},
        {"dimension", {"kind", "start", "end", "points", "offset", "normal", "axis", "arrow", "precision", "unit",
                       "text", "textHeight", "arrowLength", "extension", "overshoot", "facing"}},
        {"plot", {"map", "valueRange", "surfaces", "curves", "gridColor", "palette"}},
        {"palette", {"map", "range", "title", "ticks", "decimals", "size", "position", "offset", "textColor",
                     "labelColors"}},
    };
    static const std::set<std::string> widgets = {"axes", "move", "rotate", "scale", "viewCube"};
    auto kind = own.find(type);
    if (kind == own.end())
        Fail(Child(path, "type"), "unknown node type \"" + type + "\"");
    std::set<std::string> allowed = common;
    allowed.insert(kind->second.begin(), kind->second.end());
    if (type == "tag")
        allowed = {"type", "name", "text", "height", "target", "position", "offset", "color", "lineColor",
                   "visible"};
    if (type == "palette") // an overlay, not a model node
        allowed = {"type", "name", "visible", "map", "range", "title", "ticks", "decimals", "size", "position",
                   "offset", "textColor", "labelColors"};
    if (widgets.count(type) || type == "plot") { // widgets and plots bring their own colours
        allowed.erase("color");
        allowed.erase("opacity");
    }
    CheckKeys(node, path, allowed);

    std::string name;
    if (const Json* value = Find(node, "name")) {
        name = String(*value, Child(path, "name"));
        if (name.empty())
            Fail(Child(path, "name"), "a name must not be empty");
    }
    const std::string materialName = name.empty() ? path : name;

    if (type == "tag") {
        if (!topLevel)
            Fail(path, "tags belong in the top-level node list");
        BuildTag(node, path, name);
        return nullptr;
    }
    if (type == "palette") {
        if (!topLevel)
            Fail(path, "palettes belong in the top-level node list");
        BuildPalette(node, path);
        return nullptr;
    }

    std::shared_ptr<SceneNode> result;
    std::vector<std::pair<const SceneNode*, std::string>> innerNames;
    glm::mat4 extra(1.0f); // applied after the file's transform (text height fitting)
    if (type == "group") {
        auto group = std::make_shared<orvcore::GroupSceneNode>();
        if (const Json* children = Find(node, "children")) {
            const std::string childrenPath = Child(path, "children");
            ExpectArray(*children, childrenPath);
            for (std::size_t i = 0; i < children->size(); ++i)
                group->AddNode(BuildNode((*children)[i], Child(childrenPath, i), depth + 1, false));
        }
        result = group;
    } else if (type == "box") {
        const auto s = Numbers<3>(Require(node, "size", path), Child(path, "size"));
        for (std::size_t i = 0; i < 3; ++i)
            CheckLength(s[i], Child(Child(path, "size"), i));
        const glm::vec3 size(s[0], s[1], s[2]);
        const bool edges = Flag(node, "edges", path, true);
        result = Solid(orvcore::GeometryBuilder::CreateBox(size),
                       edges ? orvcore::GeometryBuilder::CreateBoxEdges(size) : nullptr, node, path, materialName);
    } else if (type == "sphere") {
        const float radius = Length(Require(node, "radius", path), Child(path, "radius"));
        const uint32_t segments = Segments(node, path, 32);
        result = Solid(orvcore::GeometryBuilder::CreateSphere(radius, segments, std::max(2u, segments / 2)),
                       nullptr, node, path, materialName);
    } else if (type == "cylinder" || type == "cone") {
        const float radius = Length(Require(node, "radius", path), Child(path, "radius"));
        const float height = Length(Require(node, "height", path), Child(path, "height"));
        const uint32_t segments = Segments(node, path, 32);
        const bool edges = Flag(node, "edges", path, true);
        const bool cone = type == "cone";
        auto faces = cone ? orvcore::GeometryBuilder::CreateCone(radius, height, segments)
                          : orvcore::GeometryBuilder::CreateCylinder(radius, radius, height, segments);
        std::vector<float> rims = {-height / 2.0f};
        if (!cone)
            rims.push_back(height / 2.0f);
        result = Solid(faces, edges ? Circles(radius, rims, segments) : nullptr, node, path, materialName);
    } else if (type == "plane") {
        const auto s = Numbers<2>(Require(node, "size", path), Child(path, "size"));
        for (std::size_t i = 0; i < 2; ++i)
            CheckLength(s[i], Child(Child(path, "size"), i));
        std::shared_ptr<orvcore::BufferGeometry> outline;
        if (Flag(node, "edges", path, false)) {
            const float x = s[0] / 2.0f;
            const float y = s[1] / 2.0f;
            std::vector<float> p = {-x, -y, 0, x, -y, 0, x, -y, 0, x, y, 0,
                                    x,  y,  0, -x, y, 0, -x, y, 0, -x, -y, 0};
            outline = orvcore::GeometryBuilder::CreateLines(orvcore::Float32Array(p.data(), p.size()));
        }
        result = Solid(orvcore::GeometryBuilder::CreatePlane(s[0], s[1]), outline, node, path, materialName);
    } else if (type == "points") {
        std::vector<float> positions = PointList(node, path, false);
        auto material = orvcore::PointsMaterial::Create("scene." + materialName);
        ApplyColor(*material, node, path, kDefaultColor);
        if (const Json* size = Find(node, "pointSize"))
            material->SetPointSize(static_cast<float>(Bounded(*size, Child(path, "pointSize"), 0.0, 256.0, true)));
        else
            material->SetPointSize(4.0f);
        result = std::make_shared<orvcore::PrimitiveSceneNode>(
            orvcore::GeometryBuilder::CreatePoints(orvcore::Float32Array(positions.data(), positions.size())),
            material);
    } else if (type == "lines") {
        std::vector<float> positions = PointList(node, path, true);
        auto material = orvcore::BasicMaterial::Create("scene." + materialName);
        ApplyColor(*material, node, path, kDefaultColor);
        if (const Json* width = Find(node, "width")) {
            material->LineWidth =
                static_cast<uint8_t>(std::lround(Bounded(*width, Child(path, "width"), 1.0, 255.0, false)));
            material->RequestUpdate();
        }
        result = std::make_shared<orvcore::PrimitiveSceneNode>(
            orvcore::GeometryBuilder::CreateLines(orvcore::Float32Array(positions.data(), positions.size())),
            material);
    } else if (type == "model") {
        const std::string filePath = Child(path, "file");
        const std::string file = String(Require(node, "file", path), filePath);
        if (file.empty())
            Fail(filePath, "a file name must not be empty");
        ImportOptions options{};
        const Json* color = Find(node, "color");
        options.color = color ? Color(*color, Child(path, "color")) : kDefaultColor;
        options.opacity = Opacity(node, path);
        options.edges = Flag(node, "edges", path, true);
        const Json* angle = Find(node, "featureAngle");
        options.featureAngleDegrees =
            angle ? static_cast<float>(Bounded(*angle, Child(path, "featureAngle"), 0.0, 180.0, false)) : 30.0f;
        options.edgeColor = EdgeColor(node, path);
        if (const Json* up = Find(node, "up")) {
            const std::string axis = String(*up, Child(path, "up"));
            if (axis != "y" && axis != "z")
                Fail(Child(path, "up"), "expected \"y\" or \"z\", found \"" + axis + "\"");
            options.up = axis == "y" ? UpAxis::Y : UpAxis::Z;
        }
        ImportedModel model;
        std::string importError;
        if (!ImportModel(Resolve(file), options, model, importError) || !model.root)
            Fail(filePath, importError.empty() ? "the model could not be imported" : importError);
        innerNames = ModelNames(model, name);
        result = model.root;
        extra = model.root->GetTransform(); // the file's own placement (and its turn to Z-up)
    } else if (type == "text") {
        const std::string textPath = Child(path, "text");
        const std::string text = Text(Require(node, "text", path), textPath, true);
        const float height = Length(Require(node, "height", path), Child(path, "height"));
        std::string form = "mesh";
        if (const Json* value = Find(node, "form")) {
            form = String(*value, Child(path, "form"));
            if (form != "mesh" && form != "texture")
                Fail(Child(path, "form"), "expected \"mesh\" or \"texture\", found \"" + form + "\"");
        }
        const bool billboard = Flag(node, "billboard", path, false);
        if (billboard && form != "texture")
            Fail(Child(path, "billboard"), "only texture text can be a billboard");
        const Json* color = Find(node, "color");
        const glm::vec3 rgb = color ? Color(*color, Child(path, "color")) : kDefaultTextColor;
        const float opacity = Opacity(node, path);
        std::shared_ptr<orvcore::TextSceneNode> label;
        if (form == "mesh") {
            label = orvcore::TextSceneNode::Create(Widen(text), rgb, height, true);
        } else {
            label = std::make_shared<orvcore::TextSceneNode>(Widen(text), height, rgb, glm::vec3(-1.0f), billboard);
        }
        if (!label)
            Fail(textPath, "the text could not be built");
        if (opacity < 1.0f && label->GetMaterial()) {
            label->GetMaterial()->SetOpacity(opacity);
            label->GetMaterial()->BlendingMode = orvcore::BLENDING_TRANSPARENT;
            label->GetMaterial()->RequestUpdate();
        }
        extra = label->GetScale();
        result = label;
    } else if (type == "plot") {
        result = BuildPlot(node, path, name);
    } else if (type == "particles" || type == "segments") {
        result = BuildStream(node, path, type);
    } else if (type == "robot") {
        result = BuildRobot(node, path, depth, name);
    } else if (widgets.count(type)) {
        result = BuildWidget(node, path, type);
    } else if (type == "dimension") {
        result = BuildDimension(node, path);
    }

    if (!result)
        Fail(path, "the node could not be built");
    result->SetTransform(Transform(node, path) * extra);
    if (const Json* userId = Find(node, "userId"))
        result->SetUserId(static_cast<uint64_t>(Integer(*userId, Child(path, "userId"), 0, int64_t(1) << 53)));
    result->SetVisible(Flag(node, "visible", path, true));
    result->SetPickable(Flag(node, "pickable", path, true));
    result->RequstUpdate();
    if (!name.empty())
        AddName(result.get(), name, Child(path, "name"));
    for (const auto& entry : innerNames) {
        if (m_NameSet.insert(entry.second).second)
            m_Info.names.push_back(entry);
    }
    return result;
}

std::vector<std::pair<const SceneNode*, std::string>> SceneLoader::ModelNames(const ImportedModel& model,
                                                                               const std::string& modelName)
{
    // A node's path is the names of the file's nodes from below its root
    // down to it. The root stands for the model itself (its name is often
    // made up by the reader: the file name, "ROOT", the STL solid). A mesh
    // is named only where no node below the root names it.
    std::map<const SceneNode*, std::string> fileNames;
    for (const auto& entry : model.names)
        if (entry.first && !entry.second.empty() && entry.first != model.root.get())
            fileNames.emplace(entry.first, entry.second);
    std::vector<std::pair<const SceneNode*, std::string>> result;
    for (const auto& entry : model.names) {
        if (!entry.first || entry.first == model.root.get() || entry.second.empty())
            continue;
        const bool mesh = !orvcore::GroupSceneNode::Cast(entry.first);
        std::vector<const std::string*> parts{&entry.second};
        for (const SceneNode* node = entry.first->GetParent(); node && node != model.root.get();
             node = node->GetParent()) {
            auto found = fileNames.find(node);
            if (found != fileNames.end())
                parts.push_back(&found->second);
        }
        if (mesh && parts.size() > 1)
            continue;
        std::string path = modelName;
        for (auto part = parts.rbegin(); part != parts.rend(); ++part)
            path += (path.empty() ? "" : "/") + **part;
        result.emplace_back(entry.first, path);
    }
    return result;
}

void SceneLoader::BuildTag(const Json& node, const std::string& path, const std::string& name)
{
    const std::string text = Text(Require(node, "text", path), Child(path, "text"), true);
    const Json* heightValue = Find(node, "height");
    const float height = heightValue ? Length(*heightValue, Child(path, "height")) : 18.0f;
    if (height > 1000.0f)
        Fail(Child(path, "height"), "too large (at most 1000 pixels)");
    const Json* color = Find(node, "color");
    const glm::vec3 rgb = color ? Color(*color, Child(path, "color")) : kDefaultTextColor;
    const glm::vec3 target = Vec3(Require(node, "target", path), Child(path, "target"));
    const Json* position = Find(node, "position");
    const Json* offset = Find(node, "offset");
    if (position && offset)
        Fail(Child(path, "offset"), "use either \"position\" or \"offset\", not both");
    if (!position && !offset)
        Fail(Child(path, "position"), "a tag needs \"position\" (world) or \"offset\" (pixels)");
    auto label = std::make_shared<orvcore::TextSceneNode>(Widen(text), height, rgb, glm::vec3(1.0f), false);
    auto tag = orvcore::TagNode2D::Create(label, target, target);
    if (!tag)
        Fail(path, "the tag could not be built");
    if (position) {
        tag->SetPosition(Vec3(*position, Child(path, "position")), true);
    } else {
        const auto xy = Numbers<2>(*offset, Child(path, "offset"));
        tag->SetPosition(glm::vec3(xy[0], xy[1], 0.0f), false);
    }
    if (const Json* lineColor = Find(node, "lineColor"))
        tag->SetLineColor(Color(*lineColor, Child(path, "lineColor")));
    if (!Flag(node, "visible", path, true) && tag->GetNode())
        tag->GetNode()->SetVisible(false);
    m_Manager.GetScene2D()->AddNode(tag);
    if (!name.empty())
        AddName(label.get(), name, Child(path, "name"));
}

} // namespace orvrender
