#include <orvrender/ModelImporter.h>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/geometry/NormalCalculator.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvrender/ModelReader.h>

#include <cmath>
#include <cstring>
#include <exception>

#include <glm/geometric.hpp>

namespace orvrender {

namespace {

glm::vec3 ToVec3(const float* positions, uint32_t vertex)
{
    return glm::vec3(positions[vertex * 3], positions[vertex * 3 + 1], positions[vertex * 3 + 2]);
}

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

/// One file mesh turned into kernel shapes, built once and shared by every
/// node that references it.
struct MeshShapes {
    bool built = false;
    std::shared_ptr<orvcore::PrimitiveShape> faces; // empty: no triangles
    std::shared_ptr<orvcore::PrimitiveShape> edges; // empty: none or not wanted
    std::size_t triangles = 0;
    std::size_t featureEdges = 0;
};

class SceneBuilder {
public:
    SceneBuilder(const FileModel& file, const ImportOptions& options, ImportedModel& model)
        : m_File(file), m_Options(options), m_Model(model), m_Meshes(file.meshes.size())
    {
    }

    std::shared_ptr<orvcore::GroupSceneNode> BuildNode(const FileNode& node, int depth, bool isRoot)
    {
        if (depth > kMaxModelDepth)
            return nullptr;
        auto group = std::make_shared<orvcore::GroupSceneNode>();
        group->SetTransform(node.transform);
        for (uint32_t mesh : node.meshes) {
            auto leaf = BuildLeaf(mesh);
            if (leaf)
                group->AddNode(leaf);
        }
        for (const FileNode& childNode : node.children) {
            auto child = BuildNode(childNode, depth + 1, false);
            if (child)
                group->AddNode(child);
        }
        if (group->GetCount() == 0 && !isRoot)
            return nullptr;
        if (!node.name.empty())
            m_Model.names.emplace_back(group.get(), node.name);
        return group;
    }

private:
    std::shared_ptr<orvcore::SceneNode> BuildLeaf(uint32_t meshIndex)
    {
        if (meshIndex >= m_File.meshes.size())
            return nullptr;
        MeshShapes& shapes = m_Meshes[meshIndex];
        if (!shapes.built) {
            BuildShapes(m_File.meshes[meshIndex], meshIndex, shapes);
            shapes.built = true;
        }
        if (!shapes.faces)
            return nullptr;

        std::shared_ptr<orvcore::SceneNode> leaf;
        if (m_Options.edges) {
            std::vector<std::shared_ptr<orvcore::PrimitiveShape>> members{shapes.faces};
            if (shapes.edges)
                members.push_back(shapes.edges);
            leaf = std::make_shared<orvcore::ShapeSceneNode>(std::make_shared<orvcore::CompoundShape>(members));
        } else {
            leaf = std::make_shared<orvcore::PrimitiveSceneNode>(shapes.faces);
        }
        ++m_Model.meshes;
        m_Model.triangles += shapes.triangles;
        m_Model.featureEdges += shapes.featureEdges;
        const std::string& name = m_File.meshes[meshIndex].name;
        if (!name.empty())
            m_Model.names.emplace_back(leaf.get(), name);
        return leaf;
    }

    void BuildShapes(const FileMesh& mesh, uint32_t meshIndex, MeshShapes& shapes)
    {
        // The reader checked that every index lies below the vertex count.
        const std::vector<uint32_t>& indices = mesh.indices;
        const std::vector<float>& positions = mesh.positions;
        const std::size_t vertexCount = positions.size() / 3;
        if (indices.empty() || vertexCount == 0)
            return;

        auto geometry = std::make_shared<orvcore::BufferGeometry>(orvcore::PRIMITIVE_TRIANGLES);
        geometry->SetAttribute(orvcore::ATTRIBUTE_POSITION,
                               std::make_shared<orvcore::BufferAttribute>(positions.data(), positions.size(), 3));
        if (vertexCount <= 0x10000u) {
            std::vector<uint16_t> narrow(indices.begin(), indices.end());
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(narrow));
        } else {
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(indices));
        }
        if (mesh.normals.size() == positions.size()) {
            std::vector<float> normals(mesh.normals);
            bool missing = false;
            for (std::size_t v = 0; v < vertexCount; ++v) {
                const glm::vec3 n = ToVec3(normals.data(), uint32_t(v));
                if (!IsFinite(n) || !(glm::dot(n, n) > 1e-12f)) {
                    std::memset(&normals[v * 3], 0, 3 * sizeof(float)); // filled in below
                    missing = true;
                }
            }
            // Files with zero normals (common in STL) and degenerate faces
            // leave vertices without a usable normal: they get the normal of
            // a face they belong to, else +Z.
            for (std::size_t i = 0; missing && i + 2 < indices.size(); i += 3) {
                const glm::vec3 pa = ToVec3(positions.data(), indices[i]);
                glm::vec3 face = glm::cross(ToVec3(positions.data(), indices[i + 1]) - pa,
                                            ToVec3(positions.data(), indices[i + 2]) - pa);
                const float length = glm::length(face);
                face = length > 0.0f && std::isfinite(length) ? face / length : glm::vec3(0.0f, 0.0f, 1.0f);
                for (std::size_t k = 0; k < 3; ++k) {
                    float* n = &normals[std::size_t(indices[i + k]) * 3];
                    if (n[0] == 0.0f && n[1] == 0.0f && n[2] == 0.0f) {
                        n[0] = face.x;
                        n[1] = face.y;
                        n[2] = face.z;
                    }
                }
            }
            geometry->SetAttribute(orvcore::ATTRIBUTE_NORMAL,
                                   std::make_shared<orvcore::BufferAttribute>(normals.data(), normals.size(), 3));
        } else {
            orvcore::NormalCalculator::ComputeVertexNormals(*geometry);
        }
        geometry->ComputeBoundingBox();

        const std::string label = !mesh.name.empty() ? mesh.name : "mesh" + std::to_string(meshIndex);
        auto material = orvcore::MeshPhongMaterial::Create(label);
        material->SetColor(mesh.hasColor ? mesh.color : m_Options.color);
        material->SetOpacity(m_Options.opacity);
        material->SetFaceSide(orvcore::FACE_DOUBLE);
        if (material->GetOpacity() < 1.0f) {
            material->BlendingMode = orvcore::BLENDING_TRANSPARENT;
            material->RequestUpdate();
        }
        shapes.faces = std::make_shared<orvcore::PrimitiveShape>(geometry, material);
        shapes.triangles = indices.size() / 3;

        if (!m_Options.edges)
            return;
        std::vector<uint32_t> edges;
        shapes.featureEdges = FindFeatureEdges(positions.data(), vertexCount, indices.data(), indices.size(),
                                               m_Options.featureAngleDegrees, edges);
        if (edges.empty())
            return;
        std::vector<float> linePositions(edges.size() * 3);
        for (std::size_t i = 0; i < edges.size(); ++i)
            std::memcpy(&linePositions[i * 3], &positions[std::size_t(edges[i]) * 3], 3 * sizeof(float));
        auto lines = std::make_shared<orvcore::BufferGeometry>(orvcore::PRIMITIVE_LINES);
        lines->SetAttribute(orvcore::ATTRIBUTE_POSITION, std::make_shared<orvcore::BufferAttribute>(
                                                             linePositions.data(), linePositions.size(), 3));
        lines->ComputeBoundingBox();
        auto lineMaterial = orvcore::BasicMaterial::Create(label + ".edges");
        lineMaterial->SetColor(m_Options.edgeColor);
        lineMaterial->LineWidth = 1;
        lineMaterial->RequestUpdate();
        shapes.edges = std::make_shared<orvcore::PrimitiveShape>(lines, lineMaterial);
    }

    const FileModel& m_File;
    const ImportOptions& m_Options;
    ImportedModel& m_Model;
    std::vector<MeshShapes> m_Meshes;
};

bool Fail(const std::string& message, ImportedModel& model, std::string& error)
{
    model = ImportedModel();
    error = message;
    orvcore::Logger::Instance().Waring(message);
    return false;
}

} // namespace

bool ImportModel(const std::string& path, const ImportOptions& options, ImportedModel& model, std::string& error)
{
    model = ImportedModel();
    error.clear();
    try {
        FileModel file;
        std::string reason;
        if (!ReadModelFile(path, options.featureAngleDegrees, options.timeLimitSeconds, options.memoryLimitMb, file,
                           reason))
            return Fail("cannot read " + path + ": " + reason, model, error);
        SceneBuilder builder(file, options, model);
        model.root = builder.BuildNode(file.root, 0, true);
        if (!model.root || model.triangles == 0)
            return Fail("no triangles in " + path, model, error);
        return true;
    } catch (const std::exception& e) {
        return Fail("cannot read " + path + ": " + e.what(), model, error);
    }
}

} // namespace orvrender
