#include <orvrender/SceneLoader.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
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

// The walk over the nodes of a scene file and the attributes every kind of
// node shares (placement, colours, flags, names, counts). Each kind's
// builder is in SceneLoaderNodes.cpp, the view settings in
// SceneLoaderView.cpp.

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

const glm::vec3 SceneLoader::kDefaultColor(0.72f, 0.74f, 0.78f);
const glm::vec3 SceneLoader::kDefaultTextColor(0.1f, 0.1f, 0.1f);
const glm::vec3 SceneLoader::kDefaultEdgeColor(0.08f, 0.08f, 0.1f);

SceneLoader::SceneLoader(const std::string& baseDir, orvcore::SceneManager& manager, SceneInfo& info)
    : m_BaseDir(baseDir), m_Manager(manager), m_Info(info)
{
}

void SceneLoader::Load(const Json& root)
{
    ExpectObject(root, "");
    CheckKeys(root, "", {"$schema", "description", "camera", "background", "displayFilter", "grid", "nodes",
                         "select", "hover", "collision", "animations", "shadow", "overlay"});
    if (const Json* nodes = Find(root, "nodes")) {
        ExpectArray(*nodes, "/nodes");
        for (std::size_t i = 0; i < nodes->size(); ++i) {
            auto node = BuildNode((*nodes)[i], Child("/nodes", i), 0, true);
            if (node) {
                m_Manager.GetScene()->AddNode(node);
                Count(*node);
            }
        }
    }
    m_Info.select = Names(root, "select");
    m_Info.hover = Names(root, "hover");
    if (const Json* collision = Find(root, "collision"))
        LoadCollision(*collision, "/collision");
    if (const Json* background = Find(root, "background"))
        LoadBackground(*background, "/background");
    if (const Json* filter = Find(root, "displayFilter"))
        LoadDisplayFilter(*filter, "/displayFilter");
    if (const Json* shadow = Find(root, "shadow"))
        LoadShadow(*shadow, "/shadow");
    if (const Json* overlay = Find(root, "overlay"))
        LoadOverlay(*overlay, "/overlay");
    if (const Json* animations = Find(root, "animations"))
        LoadAnimations(*animations, "/animations");
    m_Manager.UpdateWorld();
    if (const Json* grid = Find(root, "grid"))
        LoadGrid(*grid, "/grid");
    static const Json kNoCamera = Json::object();
    const Json* camera = Find(root, "camera");
    LoadCamera(camera ? *camera : kNoCamera, "/camera");
}

std::string SceneLoader::Resolve(const std::string& file) const
{
    std::filesystem::path path(file);
    if (path.is_absolute() || m_BaseDir.empty())
        return path.string();
    return (std::filesystem::path(m_BaseDir) / path).string();
}

std::vector<std::string> SceneLoader::Names(const Json& root, const char* key)
{
    std::vector<std::string> result;
    const Json* list = Find(root, key);
    if (!list)
        return result;
    const std::string path = Child("", key);
    ExpectArray(*list, path);
    for (std::size_t i = 0; i < list->size(); ++i) {
        const std::string name = String((*list)[i], Child(path, i));
        if (m_NameSet.count(name) == 0)
            Fail(Child(path, i), "no node is named \"" + name + "\"");
        result.push_back(name);
    }
    return result;
}

void SceneLoader::Count(const SceneNode& node)
{
    ++m_Info.nodes;
    if (auto primitiveNode = orvcore::PrimitiveSceneNode::Cast(&node))
        CountTriangles(primitiveNode->GetPrimitive().get());
    if (auto shapeNode = orvcore::ShapeSceneNode::Cast(&node)) {
        for (const auto& primitive : shapeNode->GetPrimitives())
            CountTriangles(primitive.get());
    }
    if (auto group = orvcore::GroupSceneNode::Cast(&node)) {
        for (const auto& entry : group->GetChildren()) {
            if (entry.second)
                Count(*entry.second);
        }
    }
}

void SceneLoader::CountTriangles(const orvcore::PrimitiveShape* primitive)
{
    if (primitive && primitive->GetGeometry() && orvcore::IsTrianglePrimitive(primitive->GetPrimitiveType()))
        m_Info.triangles += primitive->GetGeometry()->GetPrimitiveCount();
}

void SceneLoader::AddName(const SceneNode* node, const std::string& name, const std::string& path)
{
    if (!m_NameSet.insert(name).second)
        Fail(path, "the name \"" + name + "\" is used twice");
    m_Info.names.emplace_back(node, name);
}

glm::mat4 SceneLoader::Transform(const Json& node, const std::string& path)
{
    const Json* matrix = Find(node, "matrix");
    const Json* translate = Find(node, "translate");
    const Json* rotate = Find(node, "rotate");
    const Json* scale = Find(node, "scale");
    if (matrix) {
        if (translate || rotate || scale)
            Fail(Child(path, "matrix"), "use either \"matrix\" or translate/rotate/scale, not both");
        const auto values = Numbers<16>(*matrix, Child(path, "matrix"));
        return glm::make_mat4(values.data());
    }
    glm::mat4 result(1.0f);
    if (translate)
        result = glm::translate(result, Vec3(*translate, Child(path, "translate")));
    if (rotate) {
        const std::string rotatePath = Child(path, "rotate");
        ExpectObject(*rotate, rotatePath);
        CheckKeys(*rotate, rotatePath, {"axis", "angle"});
        const glm::vec3 axis = Vec3(Require(*rotate, "axis", rotatePath), Child(rotatePath, "axis"));
        const float angle = static_cast<float>(
            Bounded(Require(*rotate, "angle", rotatePath), Child(rotatePath, "angle"), -36000.0, 36000.0, false));
        if (glm::length(axis) < 1e-12f)
            Fail(Child(rotatePath, "axis"), "axis must not be the zero vector");
        result = glm::rotate(result, glm::radians(angle), glm::normalize(axis));
    }
    if (scale) {
        const std::string scalePath = Child(path, "scale");
        glm::vec3 factors;
        if (scale->is_number()) {
            factors = glm::vec3(static_cast<float>(Number(*scale, scalePath)));
        } else if (scale->is_array()) {
            factors = Vec3(*scale, scalePath);
        } else {
            Fail(scalePath, std::string("expected a number or 3 numbers, found ") + TypeName(*scale));
        }
        for (int i = 0; i < 3; ++i) {
            if (factors[i] == 0.0f)
                Fail(scalePath, "scale factors must not be zero");
            if (std::fabs(factors[i]) > kMaxExtent)
                Fail(scalePath, "too large (at most 1e7)");
        }
        result = glm::scale(result, factors);
    }
    return result;
}

std::shared_ptr<orvcore::MaterialInstance> SceneLoader::FaceMaterial(const Json& node, const std::string& path,
                                                                      const std::string& name)
{
    auto material = orvcore::MeshPhongMaterial::Create("scene." + name);
    ApplyColor(*material, node, path, kDefaultColor);
    return material;
}

void SceneLoader::ApplyColor(orvcore::MaterialInstance& material, const Json& node, const std::string& path,
                             const glm::vec3& fallback)
{
    const Json* color = Find(node, "color");
    material.SetColor(color ? Color(*color, Child(path, "color")) : fallback);
    const float opacity = Opacity(node, path);
    material.SetOpacity(opacity);
    if (opacity < 1.0f) {
        material.BlendingMode = orvcore::BLENDING_TRANSPARENT;
        material.RequestUpdate();
    }
}

float SceneLoader::Opacity(const Json& node, const std::string& path)
{
    const Json* opacity = Find(node, "opacity");
    return opacity ? static_cast<float>(Bounded(*opacity, Child(path, "opacity"), 0.0, 1.0, false)) : 1.0f;
}

glm::vec3 SceneLoader::EdgeColor(const Json& node, const std::string& path)
{
    const Json* color = Find(node, "edgeColor");
    return color ? Color(*color, Child(path, "edgeColor")) : kDefaultEdgeColor;
}

bool SceneLoader::Flag(const Json& node, const char* key, const std::string& path, bool fallback)
{
    const Json* value = Find(node, key);
    return value ? Bool(*value, Child(path, key)) : fallback;
}

uint32_t SceneLoader::Segments(const Json& node, const std::string& path, uint32_t fallback)
{
    const Json* value = Find(node, "segments");
    if (!value)
        return fallback;
    return static_cast<uint32_t>(Integer(*value, Child(path, "segments"), kMinSegments, kMaxSegments));
}

/// A solid: its faces alone, or a group of the faces and their edges.
std::shared_ptr<SceneNode> SceneLoader::Solid(const std::shared_ptr<orvcore::BufferGeometry>& faces,
                                              const std::shared_ptr<orvcore::BufferGeometry>& edges, const Json& node,
                                              const std::string& path, const std::string& name)
{
    if (!faces)
        Fail(path, "the geometry could not be built");
    auto faceNode = std::make_shared<orvcore::PrimitiveSceneNode>(faces, FaceMaterial(node, path, name));
    if (!edges)
        return faceNode;
    auto edgeMaterial = orvcore::BasicMaterial::Create("scene." + name + ".edges");
    edgeMaterial->SetColor(EdgeColor(node, path));
    auto edgeNode = std::make_shared<orvcore::PrimitiveSceneNode>(edges, edgeMaterial);
    edgeNode->SetPickable(false);
    auto group = std::make_shared<orvcore::GroupSceneNode>();
    group->AddNode(faceNode);
    group->AddNode(edgeNode);
    return group;
}

std::shared_ptr<orvcore::BufferGeometry> SceneLoader::Circles(float radius, const std::vector<float>& heights,
                                                                    uint32_t segments)
{
    std::vector<float> positions;
    positions.reserve(heights.size() * segments * 6);
    const float step = 2.0f * glm::pi<float>() / static_cast<float>(segments);
    for (float z : heights) {
        for (uint32_t i = 0; i < segments; ++i) {
            const float a0 = step * static_cast<float>(i);
            const float a1 = step * static_cast<float>(i + 1);
            positions.insert(positions.end(), {radius * std::cos(a0), radius * std::sin(a0), z,
                                               radius * std::cos(a1), radius * std::sin(a1), z});
        }
    }
    return orvcore::GeometryBuilder::CreateLines(orvcore::Float32Array(positions.data(), positions.size()));
}

std::vector<float> SceneLoader::PointList(const Json& node, const std::string& path, bool pairs)
{
    const std::string pointsPath = Child(path, "points");
    const Json& points = Require(node, "points", path);
    ExpectArray(points, pointsPath);
    if (points.size() > kMaxPoints)
        Fail(pointsPath, "too large (at most " + std::to_string(kMaxPoints) + " points)");
    if (points.empty())
        Fail(pointsPath, "needs at least one point");
    if (pairs && points.size() % 2 != 0)
        Fail(pointsPath, "lines need pairs of points (an even count)");
    std::vector<float> positions;
    positions.reserve(points.size() * 3);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const glm::vec3 p = Vec3(points[i], Child(pointsPath, i));
        positions.insert(positions.end(), {p.x, p.y, p.z});
    }
    return positions;
}

} // namespace orvrender
