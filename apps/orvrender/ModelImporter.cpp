#include <orvrender/ModelImporter.h>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/BufferAttribute.h>
#include <orvkernel/geometry/BufferGeometry.h>
#include <orvkernel/geometry/ElementAttribute.h>
#include <orvkernel/geometry/NormalCalculator.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvkernel/material/PointsMaterial.h>
#include <orvkernel/shape/CompoundShape.h>
#include <orvkernel/shape/PrimitiveShape.h>
#include <orvkernel/texture/ImageTexture2D.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvrender/ModelReader.h>

#include <cmath>
#include <cstring>
#include <exception>

#include <glm/geometric.hpp>
#include <glm/mat4x4.hpp>

namespace orvrender {

namespace {

glm::vec3 ToVec3(const float* positions, uint32_t vertex)
{
    return glm::vec3(positions[vertex * 3], positions[vertex * 3 + 1], positions[vertex * 3 + 2]);
}

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

/// Names the reader makes up for files without them ("<STL_BINARY>", OBJ's
/// "defaultobject") are no names.
bool IsFileName(const std::string& name) { return !name.empty() && name[0] != '<' && name != "defaultobject"; }

/// One file mesh turned into kernel shapes, built once and shared by every
/// node that references it.
struct MeshShapes {
    bool built = false;
    std::shared_ptr<orvcore::PrimitiveShape> main;  // empty: nothing drawable
    std::shared_ptr<orvcore::PrimitiveShape> edges; // empty: none or not wanted
    std::size_t triangles = 0;
    std::size_t featureEdges = 0;
    std::size_t points = 0;
    std::size_t segments = 0;
};

std::shared_ptr<orvcore::BufferAttribute> Attribute(const std::vector<float>& values, uint32_t itemSize)
{
    return std::make_shared<orvcore::BufferAttribute>(values.data(), values.size(), itemSize);
}

uint32_t WrapMode(uint8_t wrap)
{
    return wrap == WRAP_CLAMP ? uint32_t(orvcore::TEXTURE_WRAP_CLAMP)
           : wrap == WRAP_MIRROR ? uint32_t(orvcore::TEXTURE_WRAP_MIRROR)
                                 : uint32_t(orvcore::TEXTURE_WRAP_REPEAT);
}

class SceneBuilder {
public:
    SceneBuilder(const FileModel& file, const ImportOptions& options, ImportedModel& model)
        : m_File(file), m_Options(options), m_Model(model), m_Meshes(file.meshes.size()),
          m_Textures(file.materials.size())
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
        if (IsFileName(node.name))
            m_Model.names.emplace_back(group.get(), node.name);
        return group;
    }

private:
    std::shared_ptr<orvcore::SceneNode> BuildLeaf(uint32_t meshIndex)
    {
        if (meshIndex >= m_File.meshes.size())
            return nullptr;
        MeshShapes& shapes = m_Meshes[meshIndex];
        const FileMesh& mesh = m_File.meshes[meshIndex];
        if (!shapes.built) {
            BuildShapes(mesh, meshIndex, shapes);
            shapes.built = true;
        }
        if (!shapes.main)
            return nullptr;

        std::shared_ptr<orvcore::SceneNode> leaf;
        if (mesh.kind == MESH_TRIANGLES && m_Options.edges) {
            std::vector<std::shared_ptr<orvcore::PrimitiveShape>> members{shapes.main};
            if (shapes.edges)
                members.push_back(shapes.edges);
            leaf = std::make_shared<orvcore::ShapeSceneNode>(std::make_shared<orvcore::CompoundShape>(members));
        } else {
            leaf = std::make_shared<orvcore::PrimitiveSceneNode>(shapes.main);
        }
        ++m_Model.meshes;
        m_Model.triangles += shapes.triangles;
        m_Model.featureEdges += shapes.featureEdges;
        m_Model.points += shapes.points;
        m_Model.segments += shapes.segments;
        if (IsFileName(mesh.name))
            m_Model.names.emplace_back(leaf.get(), mesh.name);
        return leaf;
    }

    /// The material of a mesh: the file's colour, opacity, alpha mode and
    /// texture (when the mesh has UVs), and its vertex colours.
    std::shared_ptr<orvcore::MaterialInstance> Material(const FileMesh& mesh, const std::string& label)
    {
        const FileMaterial* file =
            mesh.material < m_File.materials.size() ? &m_File.materials[mesh.material] : nullptr;
        const uint8_t alphaMode = file ? file->alphaMode : uint8_t(ALPHA_OPAQUE);
        std::shared_ptr<orvcore::MaterialInstance> material;
        if (mesh.kind == MESH_POINTS) {
            auto points = orvcore::PointsMaterial::Create(label);
            points->SetPointSize(m_Options.pointSize);
            material = points;
        } else if (mesh.kind == MESH_LINES) {
            material = orvcore::BasicMaterial::Create(label);
        } else {
            material = orvcore::MeshPhongMaterial::Create(label);
            material->SetFaceSide(orvcore::FACE_DOUBLE);
        }
        const bool vertexColors = !mesh.colors.empty();
        material->SetColor(file && file->hasColor ? file->color : vertexColors ? glm::vec3(1.0f) : m_Options.color);
        float opacity = m_Options.opacity;
        if (alphaMode == ALPHA_BLEND)
            opacity *= file->opacity;
        else if (alphaMode == ALPHA_MASK && file->opacity < file->alphaCutoff)
            opacity = 0.0f;
        material->SetOpacity(opacity);
        material->SetVertexColors(vertexColors);
        if (mesh.kind == MESH_TRIANGLES && file && file->image >= 0 && !mesh.uvs.empty()) {
            if (auto texture = Texture(mesh.material)) {
                material->AddTexture("map", texture);
                ++m_Model.textures;
            }
        }
        if (alphaMode == ALPHA_MASK) // the texture's alpha is 0 or 1 (see Texture)
            material->SetUniform("alphaTest", std::max(0.5f * opacity, 1e-3f));
        if (material->GetOpacity() < 1.0f) {
            material->BlendingMode = orvcore::BLENDING_TRANSPARENT;
            material->RequestUpdate();
        }
        return material;
    }

    /// The texture of a file material, made once: opaque materials ignore
    /// the image's alpha, masked ones cut it at their cut-off.
    std::shared_ptr<orvcore::ImageTexture2D> Texture(uint32_t materialIndex)
    {
        std::shared_ptr<orvcore::ImageTexture2D>& texture = m_Textures[materialIndex];
        if (texture)
            return texture;
        const FileMaterial& material = m_File.materials[materialIndex];
        const FileImage& image = m_File.images[std::size_t(material.image)];
        std::vector<uint8_t> pixels = image.pixels;
        for (std::size_t i = 3; i < pixels.size(); i += 4) {
            if (material.alphaMode == ALPHA_OPAQUE)
                pixels[i] = 255;
            else if (material.alphaMode == ALPHA_MASK)
                pixels[i] = float(pixels[i]) / 255.0f * material.opacity >= material.alphaCutoff ? 255 : 0;
        }
        texture = std::make_shared<orvcore::ImageTexture2D>(image.width, image.height, pixels.data());
        texture->SetWrap(WrapMode(material.wrapU), WrapMode(material.wrapV));
        if (material.nearest)
            texture->SetFilter(orvcore::TEXTURE_FILTER_NEAREST, orvcore::TEXTURE_FILTER_LINEAR);
        return texture;
    }

    /// The vertex colours to draw: alpha only where the material blends.
    std::vector<float> Colors(const FileMesh& mesh) const
    {
        std::vector<float> colors = mesh.colors;
        const bool blend =
            mesh.material < m_File.materials.size() && m_File.materials[mesh.material].alphaMode == ALPHA_BLEND;
        for (std::size_t i = 3; !blend && i < colors.size(); i += 4)
            colors[i] = 1.0f;
        return colors;
    }

    void BuildShapes(const FileMesh& mesh, uint32_t meshIndex, MeshShapes& shapes)
    {
        // The reader checked that every index lies below the vertex count
        // and that every attribute has one entry per vertex.
        const std::vector<uint32_t>& indices = mesh.indices;
        const std::vector<float>& positions = mesh.positions;
        const std::size_t vertexCount = positions.size() / 3;
        if (indices.empty() || vertexCount == 0)
            return;
        const std::string label = !mesh.name.empty() ? mesh.name : "mesh" + std::to_string(meshIndex);
        if (mesh.kind != MESH_TRIANGLES) {
            // Points and segments as plain lists, in the file's order.
            std::vector<float> gathered(indices.size() * 3), colors;
            const std::vector<float> fileColors = Colors(mesh);
            if (!fileColors.empty())
                colors.resize(indices.size() * 4);
            for (std::size_t i = 0; i < indices.size(); ++i) {
                std::memcpy(&gathered[i * 3], &positions[std::size_t(indices[i]) * 3], 3 * sizeof(float));
                if (!colors.empty())
                    std::memcpy(&colors[i * 4], &fileColors[std::size_t(indices[i]) * 4], 4 * sizeof(float));
            }
            const bool points = mesh.kind == MESH_POINTS;
            auto geometry =
                std::make_shared<orvcore::BufferGeometry>(points ? orvcore::PRIMITIVE_POINTS : orvcore::PRIMITIVE_LINES);
            geometry->SetAttribute(orvcore::ATTRIBUTE_POSITION, Attribute(gathered, 3));
            if (!colors.empty())
                geometry->SetAttribute(orvcore::ATTRIBUTE_COLOR, Attribute(colors, 4));
            geometry->ComputeBoundingBox();
            shapes.main = std::make_shared<orvcore::PrimitiveShape>(geometry, Material(mesh, label));
            (points ? shapes.points : shapes.segments) = points ? indices.size() : indices.size() / 2;
            return;
        }

        auto geometry = std::make_shared<orvcore::BufferGeometry>(orvcore::PRIMITIVE_TRIANGLES);
        geometry->SetAttribute(orvcore::ATTRIBUTE_POSITION, Attribute(positions, 3));
        if (vertexCount <= 0x10000u) {
            std::vector<uint16_t> narrow(indices.begin(), indices.end());
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(narrow));
        } else {
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(indices));
        }
        if (!mesh.uvs.empty())
            geometry->SetAttribute(orvcore::ATTRIBUTE_UV, Attribute(mesh.uvs, 2));
        if (!mesh.colors.empty())
            geometry->SetAttribute(orvcore::ATTRIBUTE_COLOR, Attribute(Colors(mesh), 4));
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
            geometry->SetAttribute(orvcore::ATTRIBUTE_NORMAL, Attribute(normals, 3));
        } else {
            orvcore::NormalCalculator::ComputeVertexNormals(*geometry);
        }
        geometry->ComputeBoundingBox();

        shapes.main = std::make_shared<orvcore::PrimitiveShape>(geometry, Material(mesh, label));
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
        lines->SetAttribute(orvcore::ATTRIBUTE_POSITION, Attribute(linePositions, 3));
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
    std::vector<std::shared_ptr<orvcore::ImageTexture2D>> m_Textures; // per file material
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
        for (const std::string& warning : file.warnings)
            orvcore::Logger::Instance().Waring(path + ": " + warning);
        SceneBuilder builder(file, options, model);
        model.root = builder.BuildNode(file.root, 0, true);
        if (!model.root || model.meshes == 0)
            return Fail("no points, lines or triangles in " + path, model, error);
        const bool yUp = options.up == UpAxis::Y || (options.up == UpAxis::Auto && file.yUp);
        if (yUp) // +90 degrees about X: y becomes z, z becomes -y
            model.root->SetTransform(glm::mat4(1, 0, 0, 0, 0, 0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1) *
                                     model.root->GetTransform());
        return true;
    } catch (const std::exception& e) {
        return Fail("cannot read " + path + ": " + e.what(), model, error);
    }
}

} // namespace orvrender
