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

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <filesystem>
#include <system_error>

#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <glm/common.hpp>
#include <glm/geometric.hpp>
#include <glm/mat4x4.hpp>
#include <glm/trigonometric.hpp>

namespace orvrender {

namespace {

// File hierarchies deeper than this are cut off (a malformed file must not
// exhaust the stack).
constexpr int kMaxNodeDepth = 256;

glm::vec3 ToVec3(const float* positions, uint32_t vertex)
{
    return glm::vec3(positions[vertex * 3], positions[vertex * 3 + 1], positions[vertex * 3 + 2]);
}

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

glm::mat4 ToMat4(const aiMatrix4x4& m)
{
    glm::mat4 result(1.0f);
    for (unsigned row = 0; row < 4; ++row)
        for (unsigned col = 0; col < 4; ++col)
            result[col][row] = m[row][col];
    return result;
}

/// The colour the file gives a mesh, if any (Assimp's placeholder material
/// for files without materials does not count).
bool FileColor(const aiScene* scene, const aiMesh* mesh, glm::vec3& color)
{
    if (mesh->mMaterialIndex >= scene->mNumMaterials || !scene->mMaterials)
        return false;
    const aiMaterial* material = scene->mMaterials[mesh->mMaterialIndex];
    if (!material)
        return false;
    aiString name;
    if (material->Get(AI_MATKEY_NAME, name) == AI_SUCCESS && std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) == 0)
        return false;
    aiColor4D diffuse;
    if (material->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse) != AI_SUCCESS)
        return false;
    const glm::vec3 value(diffuse.r, diffuse.g, diffuse.b);
    if (!IsFinite(value))
        return false;
    color = glm::clamp(value, glm::vec3(0.0f), glm::vec3(1.0f));
    return true;
}

/// Gives every face corner a vertex of its own in a mesh without (usable) normals,
/// so that generating normals can split them at creases (the smoothing angle
/// is only honoured between distinct vertices; the later join merges again
/// what ends up identical). Meshes with bones or morph targets, or with a
/// face that references a vertex past the end, are left as they are.
void SplitSharedVertices(aiMesh& mesh)
{
    // Normals that are zero or not finite (STL writers often leave zeros)
    // count as none: they are generated like those of files without.
    if (mesh.mNormals && !mesh.mTangents) {
        for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
            const aiVector3D& n = mesh.mNormals[v];
            const float square = float(n.x * n.x + n.y * n.y + n.z * n.z);
            if (!std::isfinite(square) || !(square > 1e-12f)) {
                delete[] mesh.mNormals;
                mesh.mNormals = nullptr;
                break;
            }
        }
    }
    if (mesh.mNormals || mesh.mNumBones > 0 || mesh.mNumAnimMeshes > 0 || !mesh.mVertices || !mesh.mFaces)
        return;
    std::size_t corners = 0;
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
        const aiFace& face = mesh.mFaces[f];
        if (face.mNumIndices > 0 && !face.mIndices)
            return;
        for (unsigned i = 0; i < face.mNumIndices; ++i)
            if (face.mIndices[i] >= mesh.mNumVertices)
                return;
        corners += face.mNumIndices;
    }
    if (corners == mesh.mNumVertices || corners >= 0xffffffffu)
        return;

    std::vector<std::unique_ptr<aiVector3D[]>> uvs(AI_MAX_NUMBER_OF_TEXTURECOORDS);
    std::vector<std::unique_ptr<aiColor4D[]>> colors(AI_MAX_NUMBER_OF_COLOR_SETS);
    std::unique_ptr<aiVector3D[]> vertices(new aiVector3D[corners]);
    for (unsigned c = 0; c < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++c)
        if (mesh.mTextureCoords[c])
            uvs[c].reset(new aiVector3D[corners]);
    for (unsigned c = 0; c < AI_MAX_NUMBER_OF_COLOR_SETS; ++c)
        if (mesh.mColors[c])
            colors[c].reset(new aiColor4D[corners]);

    unsigned next = 0;
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
        aiFace& face = mesh.mFaces[f];
        for (unsigned i = 0; i < face.mNumIndices; ++i, ++next) {
            const unsigned old = face.mIndices[i];
            vertices[next] = mesh.mVertices[old];
            for (unsigned c = 0; c < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++c)
                if (uvs[c])
                    uvs[c][next] = mesh.mTextureCoords[c][old];
            for (unsigned c = 0; c < AI_MAX_NUMBER_OF_COLOR_SETS; ++c)
                if (colors[c])
                    colors[c][next] = mesh.mColors[c][old];
            face.mIndices[i] = next;
        }
    }
    delete[] mesh.mVertices;
    mesh.mVertices = vertices.release();
    for (unsigned c = 0; c < AI_MAX_NUMBER_OF_TEXTURECOORDS; ++c) {
        if (uvs[c]) {
            delete[] mesh.mTextureCoords[c];
            mesh.mTextureCoords[c] = uvs[c].release();
        }
    }
    for (unsigned c = 0; c < AI_MAX_NUMBER_OF_COLOR_SETS; ++c) {
        if (colors[c]) {
            delete[] mesh.mColors[c];
            mesh.mColors[c] = colors[c].release();
        }
    }
    mesh.mNumVertices = next;
}

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
    SceneBuilder(const aiScene* scene, const ImportOptions& options, ImportedModel& model)
        : m_Scene(scene), m_Options(options), m_Model(model), m_Meshes(scene->mNumMeshes)
    {
    }

    std::shared_ptr<orvcore::GroupSceneNode> BuildNode(const aiNode* node, int depth, bool isRoot)
    {
        if (!node || depth > kMaxNodeDepth)
            return nullptr;
        auto group = std::make_shared<orvcore::GroupSceneNode>();
        group->SetTransform(ToMat4(node->mTransformation));
        for (unsigned i = 0; i < node->mNumMeshes; ++i) {
            if (!node->mMeshes)
                break;
            auto leaf = BuildLeaf(node->mMeshes[i]);
            if (leaf)
                group->AddNode(leaf);
        }
        for (unsigned i = 0; i < node->mNumChildren; ++i) {
            if (!node->mChildren)
                break;
            auto child = BuildNode(node->mChildren[i], depth + 1, false);
            if (child)
                group->AddNode(child);
        }
        if (group->GetCount() == 0 && !isRoot)
            return nullptr;
        if (node->mName.length > 0)
            m_Model.names.emplace_back(group.get(), node->mName.C_Str());
        return group;
    }

private:
    std::shared_ptr<orvcore::SceneNode> BuildLeaf(unsigned meshIndex)
    {
        if (meshIndex >= m_Scene->mNumMeshes || !m_Scene->mMeshes || !m_Scene->mMeshes[meshIndex])
            return nullptr;
        MeshShapes& shapes = m_Meshes[meshIndex];
        if (!shapes.built) {
            BuildShapes(*m_Scene->mMeshes[meshIndex], meshIndex, shapes);
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
        const aiString& name = m_Scene->mMeshes[meshIndex]->mName;
        if (name.length > 0)
            m_Model.names.emplace_back(leaf.get(), name.C_Str());
        return leaf;
    }

    void BuildShapes(const aiMesh& mesh, unsigned meshIndex, MeshShapes& shapes)
    {
        if (!(mesh.mPrimitiveTypes & aiPrimitiveType_TRIANGLE) || !mesh.mVertices || !mesh.mFaces)
            return;
        const std::size_t vertexCount = mesh.mNumVertices;

        std::vector<uint32_t> indices;
        indices.reserve(std::size_t(mesh.mNumFaces) * 3);
        for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
            const aiFace& face = mesh.mFaces[f];
            if (face.mNumIndices != 3 || !face.mIndices)
                continue;
            if (face.mIndices[0] >= vertexCount || face.mIndices[1] >= vertexCount || face.mIndices[2] >= vertexCount)
                continue;
            indices.insert(indices.end(), face.mIndices, face.mIndices + 3);
        }
        if (indices.empty())
            return;

        std::vector<float> positions(vertexCount * 3);
        for (std::size_t v = 0; v < vertexCount; ++v) {
            positions[v * 3] = float(mesh.mVertices[v].x);
            positions[v * 3 + 1] = float(mesh.mVertices[v].y);
            positions[v * 3 + 2] = float(mesh.mVertices[v].z);
        }

        auto geometry = std::make_shared<orvcore::BufferGeometry>(orvcore::PRIMITIVE_TRIANGLES);
        geometry->SetAttribute(orvcore::ATTRIBUTE_POSITION,
                               std::make_shared<orvcore::BufferAttribute>(positions.data(), positions.size(), 3));
        if (vertexCount <= 0x10000u) {
            std::vector<uint16_t> narrow(indices.begin(), indices.end());
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(narrow));
        } else {
            geometry->SetIndex(std::make_shared<orvcore::ElementAttribute>(indices));
        }
        if (mesh.mNormals) {
            std::vector<float> normals(vertexCount * 3);
            bool missing = false;
            for (std::size_t v = 0; v < vertexCount; ++v) {
                glm::vec3 n(mesh.mNormals[v].x, mesh.mNormals[v].y, mesh.mNormals[v].z);
                if (!IsFinite(n) || !(glm::dot(n, n) > 1e-12f)) {
                    n = glm::vec3(0.0f); // filled in below
                    missing = true;
                }
                normals[v * 3] = n.x;
                normals[v * 3 + 1] = n.y;
                normals[v * 3 + 2] = n.z;
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

        const std::string label =
            mesh.mName.length > 0 ? std::string(mesh.mName.C_Str()) : "mesh" + std::to_string(meshIndex);
        glm::vec3 color = m_Options.color;
        FileColor(m_Scene, &mesh, color);
        auto material = orvcore::MeshPhongMaterial::Create(label);
        material->SetColor(color);
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

    const aiScene* m_Scene;
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
    std::error_code code;
    if (std::filesystem::is_directory(path, code))
        return Fail("cannot read " + path + ": is a directory", model, error);

    try {
        Assimp::Importer importer;
        float angle = options.featureAngleDegrees;
        if (!std::isfinite(angle))
            angle = 30.0f;
        importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, std::clamp(angle, 0.0f, 175.0f));
        // Normals come after the faces got vertices of their own (see
        // SplitSharedVertices), so this runs in two steps.
        const aiScene* scene = importer.ReadFile(path, aiProcess_Triangulate | aiProcess_SortByPType);
        if (scene) {
            for (unsigned i = 0; i < scene->mNumMeshes && scene->mMeshes; ++i)
                if (scene->mMeshes[i])
                    SplitSharedVertices(*scene->mMeshes[i]);
            scene = importer.ApplyPostProcessing(aiProcess_GenSmoothNormals | aiProcess_JoinIdenticalVertices);
        }
        if (!scene) {
            std::string reason = importer.GetErrorString();
            if (reason.empty())
                reason = "unknown error";
            return Fail("cannot read " + path + ": " + reason, model, error);
        }
        if (!scene->mRootNode)
            return Fail("no triangles in " + path, model, error);

        SceneBuilder builder(scene, options, model);
        model.root = builder.BuildNode(scene->mRootNode, 0, true);
        if (!model.root || model.triangles == 0)
            return Fail("no triangles in " + path, model, error);
        return true;
    } catch (const std::exception& e) {
        return Fail("cannot read " + path + ": " + e.what(), model, error);
    }
}

} // namespace orvrender
