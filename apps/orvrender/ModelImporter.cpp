#include <orvrender/ModelImporter.h>

#include <orvcommon/Logger.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>
#include <orvkernel/BasicMaterial.h>
#include <orvkernel/BufferAttribute.h>
#include <orvkernel/BufferGeometry.h>
#include <orvkernel/CompoundShape.h>
#include <orvkernel/ElementAttribute.h>
#include <orvkernel/MeshPhongMaterial.h>
#include <orvkernel/NormalCalculator.h>
#include <orvkernel/PrimitiveShape.h>

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

constexpr uint32_t kNoVertex = 0xffffffffu;
constexpr uint64_t kNoEdge = ~uint64_t(0);
// File hierarchies deeper than this are cut off (a malformed file must not
// exhaust the stack).
constexpr int kMaxNodeDepth = 256;

uint64_t Mix(uint64_t x)
{
    x ^= x >> 33;
    x *= 0xff51afd7ed558ccdull;
    x ^= x >> 33;
    x *= 0xc4ceb9fe1a85ec53ull;
    x ^= x >> 33;
    return x;
}

/// Power of two of at least twice `count` (and at least 16) slots.
std::size_t TableSize(std::size_t count)
{
    std::size_t size = 16;
    while (size < count * 2)
        size <<= 1;
    return size;
}

/// Bit patterns of a position, with -0 folded onto +0.
void PositionBits(const float* positions, std::size_t vertex, uint32_t bits[3])
{
    for (int k = 0; k < 3; ++k) {
        float value = positions[vertex * 3 + k] + 0.0f;
        std::memcpy(&bits[k], &value, sizeof(float));
    }
}

/// For every vertex the number of the first vertex at the same position.
void WeldPositions(const float* positions, std::size_t vertexCount, std::vector<uint32_t>& weld)
{
    weld.resize(vertexCount);
    const std::size_t size = TableSize(vertexCount);
    const std::size_t mask = size - 1;
    std::vector<uint32_t> table(size, kNoVertex);
    for (std::size_t v = 0; v < vertexCount; ++v) {
        uint32_t bits[3];
        PositionBits(positions, v, bits);
        std::size_t slot = Mix((uint64_t(bits[0]) << 32 | bits[1]) ^ Mix(bits[2] + 0x9e3779b97f4a7c15ull)) & mask;
        for (;;) {
            const uint32_t other = table[slot];
            if (other == kNoVertex) {
                table[slot] = uint32_t(v);
                weld[v] = uint32_t(v);
                break;
            }
            uint32_t otherBits[3];
            PositionBits(positions, other, otherBits);
            if (otherBits[0] == bits[0] && otherBits[1] == bits[1] && otherBits[2] == bits[2]) {
                weld[v] = other;
                break;
            }
            slot = (slot + 1) & mask;
        }
    }
}

// How the triangles along an edge meet.
enum EdgeState : uint32_t {
    EDGE_ONE = 1,         // one triangle so far: a boundary unless another comes
    EDGE_SMOOTH = 2,      // two triangles within the angle
    EDGE_CREASE = 3,      // two triangles beyond the angle
    EDGE_NONMANIFOLD = 4, // three or more triangles
};

struct EdgeSlot {
    uint64_t key;      // smaller vertex number in the high half
    uint32_t triangle; // the first triangle seen on it
    uint32_t state;
};

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

std::size_t FindFeatureEdges(const float* positions, std::size_t vertexCount, const uint32_t* indices,
                             std::size_t indexCount, float angleDegrees, std::vector<uint32_t>& edges)
{
    if (!positions || !indices || vertexCount == 0 || indexCount < 3)
        return 0;
    std::vector<uint32_t> weld;
    WeldPositions(positions, vertexCount, weld);

    const std::size_t triangleCount = indexCount / 3;
    // Unit face normals of the usable triangles; a zero normal marks a
    // triangle that is left out.
    std::vector<glm::vec3> normals(triangleCount, glm::vec3(0.0f));
    for (std::size_t t = 0; t < triangleCount; ++t) {
        const uint32_t* tri = indices + t * 3;
        if (tri[0] >= vertexCount || tri[1] >= vertexCount || tri[2] >= vertexCount)
            continue;
        const uint32_t a = weld[tri[0]], b = weld[tri[1]], c = weld[tri[2]];
        if (a == b || b == c || a == c)
            continue;
        const glm::vec3 pa = ToVec3(positions, a);
        const glm::vec3 n = glm::cross(ToVec3(positions, b) - pa, ToVec3(positions, c) - pa);
        const float length = glm::length(n);
        if (!(length > 0.0f) || !std::isfinite(length))
            continue;
        normals[t] = n / length;
    }

    if (!std::isfinite(angleDegrees))
        angleDegrees = 30.0f;
    const float angle = glm::radians(std::clamp(angleDegrees, 0.0f, 180.0f));
    // A little slack so that coplanar neighbours stay smooth at angle 0.
    const float cosLimit = std::cos(angle) - 1e-5f;

    const std::size_t size = TableSize(triangleCount * 2);
    const std::size_t mask = size - 1;
    std::vector<EdgeSlot> table(size, EdgeSlot{kNoEdge, 0, 0});
    for (std::size_t t = 0; t < triangleCount; ++t) {
        if (normals[t] == glm::vec3(0.0f))
            continue;
        const uint32_t* tri = indices + t * 3;
        for (int e = 0; e < 3; ++e) {
            uint32_t a = weld[tri[e]], b = weld[tri[(e + 1) % 3]];
            if (a > b)
                std::swap(a, b);
            const uint64_t key = uint64_t(a) << 32 | b;
            std::size_t slot = Mix(key) & mask;
            while (table[slot].key != kNoEdge && table[slot].key != key)
                slot = (slot + 1) & mask;
            EdgeSlot& edge = table[slot];
            if (edge.key == kNoEdge) {
                edge = EdgeSlot{key, uint32_t(t), EDGE_ONE};
            } else if (edge.state == EDGE_ONE) {
                edge.state = glm::dot(normals[edge.triangle], normals[t]) < cosLimit ? EDGE_CREASE : EDGE_SMOOTH;
            } else {
                edge.state = EDGE_NONMANIFOLD;
            }
        }
    }

    std::size_t found = 0;
    for (const EdgeSlot& edge : table) {
        if (edge.key == kNoEdge || edge.state == EDGE_SMOOTH)
            continue;
        edges.push_back(uint32_t(edge.key >> 32));
        edges.push_back(uint32_t(edge.key & 0xffffffffu));
        ++found;
    }
    return found;
}

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
