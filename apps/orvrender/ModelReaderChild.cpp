#include <orvrender/ModelReader.h>
#include <orvrender/ModelReaderWire.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <assimp/DefaultIOSystem.h>
#include <assimp/GltfMaterial.h>
#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <glm/common.hpp>

#include <orvkernel/texture/ImageDecoder.h>

#if defined(__SANITIZE_ADDRESS__)
#define ORVRENDER_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVRENDER_SANITIZED 1
#endif
#endif

namespace orvrender {

namespace {

// ---- The child: Assimp ----


/// Opens only regular files: a model may name any path for its materials
/// or buffers, and a device or a pipe would never end.
class RegularFileSystem : public Assimp::DefaultIOSystem {
public:
    Assimp::IOStream* Open(const char* file, const char* mode) override
    {
        std::error_code code;
        if (!file || !std::filesystem::is_regular_file(file, code))
            return nullptr;
        return Assimp::DefaultIOSystem::Open(file, mode);
    }
};

/// Gives a mesh of vertices without faces (a point cloud) one point face
/// per vertex.
void AddPointFaces(aiMesh& mesh)
{
    if (mesh.mFaces || mesh.mNumFaces != 0 || !mesh.mVertices || mesh.mNumVertices == 0)
        return;
    mesh.mFaces = new aiFace[mesh.mNumVertices];
    mesh.mNumFaces = mesh.mNumVertices;
    for (unsigned v = 0; v < mesh.mNumVertices; ++v) {
        mesh.mFaces[v].mNumIndices = 1;
        mesh.mFaces[v].mIndices = new unsigned[1]{v};
    }
    mesh.mPrimitiveTypes = aiPrimitiveType_POINT;
}

/// Drops faces without corners (which Assimp's triangulation asserts on) and
/// sets the primitive types from the faces that remain.
void DropEmptyFaces(aiMesh& mesh)
{
    if (!mesh.mFaces)
        return;
    unsigned kept = 0;
    unsigned types = 0;
    for (unsigned f = 0; f < mesh.mNumFaces; ++f) {
        aiFace& face = mesh.mFaces[f];
        if (face.mNumIndices == 0 || !face.mIndices)
            continue;
        types |= face.mNumIndices == 1   ? aiPrimitiveType_POINT
                 : face.mNumIndices == 2 ? aiPrimitiveType_LINE
                 : face.mNumIndices == 3 ? aiPrimitiveType_TRIANGLE
                                         : aiPrimitiveType_POLYGON;
        if (kept != f) {
            std::swap(mesh.mFaces[kept].mNumIndices, face.mNumIndices);
            std::swap(mesh.mFaces[kept].mIndices, face.mIndices);
        }
        ++kept;
    }
    mesh.mNumFaces = kept; // the dropped ones stay allocated past the end until the mesh goes
    mesh.mPrimitiveTypes = types;
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

class Writer {
public:
    template <typename T>
    void Pod(const T& value)
    {
        bytes.append(reinterpret_cast<const char*>(&value), sizeof(T));
    }
    template <typename T>
    void Array(const std::vector<T>& values)
    {
        Pod(uint64_t(values.size()));
        bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(T));
    }
    void String(const std::string& text)
    {
        Pod(uint64_t(text.size()));
        bytes.append(text);
    }

    std::string bytes;
};

bool IsFinite(float value) { return std::isfinite(value); }

/// The images of one model, each decoded once, within the size limits.
class ImageCollector {
public:
    ImageCollector(const aiScene* scene, const std::string& modelPath, FileModel& model)
        : m_Scene(scene), m_Folder(std::filesystem::path(modelPath).parent_path()), m_Model(model)
    {
    }

    /// The number of the image a material refers to by `reference`, -1 when
    /// it cannot be read (a warning says why).
    int32_t Find(const std::string& reference)
    {
        auto known = m_Known.find(reference);
        if (known != m_Known.end())
            return known->second;
        FileImage image;
        image.source = reference;
        std::string problem;
        const bool read = Read(reference, image, problem);
        const std::size_t bytes = image.pixels.size();
        if (read && (image.width > kMaxImageSide || image.height > kMaxImageSide)) {
            problem = "larger than " + std::to_string(kMaxImageSide) + " pixels on a side";
        } else if (read && bytes > kMaxImageBytes - m_Bytes) {
            problem = "the model's images exceed " + std::to_string(kMaxImageBytes >> 20) + " MiB";
        } else if (read) {
            m_Bytes += bytes;
            m_Model.images.push_back(std::move(image));
            return m_Known[reference] = int32_t(m_Model.images.size() - 1);
        }
        if (m_Model.warnings.size() < kMaxWarnings)
            m_Model.warnings.push_back("texture \"" + reference + "\" left out: " + problem);
        return m_Known[reference] = -1;
    }

private:
    bool Read(const std::string& reference, FileImage& image, std::string& problem)
    {
        if (const aiTexture* embedded = m_Scene->GetEmbeddedTexture(reference.c_str())) {
            if (!embedded->pcData) {
                problem = "the embedded image is empty";
                return false;
            }
            if (embedded->mHeight == 0) {
                if (!orvcore::ImageDecoder::DecodeMemory(reinterpret_cast<const uint8_t*>(embedded->pcData),
                                                         embedded->mWidth, image.width, image.height, image.pixels,
                                                         kMaxImageSide)) {
                    problem = "the embedded image cannot be decoded (or is larger than " +
                              std::to_string(kMaxImageSide) + " pixels)";
                    return false;
                }
                return true;
            }
            // Raw texels (b, g, r, a), rows from the top.
            if (embedded->mWidth > kMaxImageSide || embedded->mHeight > kMaxImageSide) {
                image.width = embedded->mWidth;
                image.height = embedded->mHeight;
                return true; // refused by the size check
            }
            image.width = embedded->mWidth;
            image.height = embedded->mHeight;
            image.pixels.resize(std::size_t(image.width) * image.height * 4);
            for (std::size_t i = 0; i < std::size_t(image.width) * image.height; ++i) {
                const aiTexel& texel = embedded->pcData[i];
                const uint8_t rgba[4] = {texel.r, texel.g, texel.b, texel.a};
                std::memcpy(&image.pixels[i * 4], rgba, 4);
            }
            return true;
        }
        if (reference.empty() || reference[0] == '*') {
            problem = "no such embedded image";
            return false;
        }
        // A file beside the model: the name as given (Windows separators
        // too), else its last part in the model's folder.
        std::string name = reference;
        std::replace(name.begin(), name.end(), '\\', '/');
        const std::filesystem::path given(name);
        std::vector<std::filesystem::path> candidates;
        if (given.is_relative())
            candidates.push_back(m_Folder / given);
        if (given.has_filename())
            candidates.push_back(m_Folder / given.filename());
        std::error_code code;
        for (const std::filesystem::path& candidate : candidates) {
            if (!std::filesystem::is_regular_file(candidate, code))
                continue;
            const auto size = std::filesystem::file_size(candidate, code);
            if (code || size > kMaxImageFileBytes) {
                problem = "the image file is larger than " + std::to_string(kMaxImageFileBytes >> 20) + " MiB";
                return false;
            }
            std::ifstream in(candidate, std::ios::binary);
            std::vector<uint8_t> bytes(std::size_t(size), 0);
            if (!bytes.empty())
                in.read(reinterpret_cast<char*>(bytes.data()), std::streamsize(bytes.size()));
            if (!in || !orvcore::ImageDecoder::DecodeMemory(bytes.data(), bytes.size(), image.width, image.height,
                                                            image.pixels, kMaxImageSide)) {
                problem = "not a readable image (or larger than " + std::to_string(kMaxImageSide) + " pixels)";
                return false;
            }
            return true;
        }
        problem = "no such file";
        return false;
    }

    const aiScene* m_Scene;
    std::filesystem::path m_Folder;
    FileModel& m_Model;
    std::map<std::string, int32_t> m_Known;
    std::size_t m_Bytes = 0;
};

uint8_t Wrap(const aiMaterial& material, const char* key, unsigned type)
{
    int mode = aiTextureMapMode_Wrap;
    if (material.Get(key, type, 0, mode) != AI_SUCCESS)
        return WRAP_REPEAT;
    return mode == aiTextureMapMode_Clamp || mode == aiTextureMapMode_Decal ? WRAP_CLAMP
           : mode == aiTextureMapMode_Mirror                                ? WRAP_MIRROR
                                                                             : WRAP_REPEAT;
}

/// What the file says of a material (Assimp's placeholder material for
/// files without materials gives no colour), and the UV channel its texture
/// reads.
FileMaterial ReadMaterial(const aiMaterial* material, ImageCollector& images, unsigned& uvChannel)
{
    FileMaterial file;
    uvChannel = 0;
    if (!material)
        return file;
    aiString name;
    const bool placeholder = material->Get(AI_MATKEY_NAME, name) == AI_SUCCESS &&
                             std::strcmp(name.C_Str(), AI_DEFAULT_MATERIAL_NAME) == 0;
    aiColor4D diffuse;
    if (!placeholder && (material->Get(AI_MATKEY_BASE_COLOR, diffuse) == AI_SUCCESS ||
                         material->Get(AI_MATKEY_COLOR_DIFFUSE, diffuse) == AI_SUCCESS)) {
        const glm::vec4 value(diffuse.r, diffuse.g, diffuse.b, diffuse.a);
        if (IsFinite(value.r) && IsFinite(value.g) && IsFinite(value.b)) {
            file.hasColor = true;
            file.color = glm::clamp(glm::vec3(value), glm::vec3(0.0f), glm::vec3(1.0f));
        }
        if (IsFinite(value.a))
            file.opacity = std::clamp(value.a, 0.0f, 1.0f);
    }
    float opacity = 1.0f;
    if (material->Get(AI_MATKEY_OPACITY, opacity) == AI_SUCCESS && IsFinite(opacity))
        file.opacity = std::min(file.opacity, std::clamp(opacity, 0.0f, 1.0f));
    aiString alphaMode;
    if (material->Get(AI_MATKEY_GLTF_ALPHAMODE, alphaMode) == AI_SUCCESS) {
        const std::string mode = alphaMode.C_Str();
        file.alphaMode = mode == "MASK" ? ALPHA_MASK : mode == "BLEND" ? ALPHA_BLEND : ALPHA_OPAQUE;
        float cutoff = 0.5f;
        if (material->Get(AI_MATKEY_GLTF_ALPHACUTOFF, cutoff) == AI_SUCCESS && IsFinite(cutoff))
            file.alphaCutoff = std::clamp(cutoff, 0.0f, 1.0f);
    } else {
        file.alphaMode = file.opacity < 1.0f ? ALPHA_BLEND : ALPHA_OPAQUE;
    }
    for (aiTextureType type : {aiTextureType_BASE_COLOR, aiTextureType_DIFFUSE}) {
        aiString path;
        if (material->GetTextureCount(type) == 0 || material->GetTexture(type, 0, &path) != AI_SUCCESS)
            continue;
        file.image = images.Find(path.C_Str());
        file.wrapU = Wrap(*material, _AI_MATKEY_MAPPINGMODE_U_BASE, type);
        file.wrapV = Wrap(*material, _AI_MATKEY_MAPPINGMODE_V_BASE, type);
        int source = 0;
        if (material->Get(AI_MATKEY_UVWSRC(type, 0), source) == AI_SUCCESS && source >= 0 &&
            source < AI_MAX_NUMBER_OF_TEXTURECOORDS)
            uvChannel = unsigned(source);
        int magnify = 0;
        file.nearest = material->Get(AI_MATKEY_GLTF_MAPPINGFILTER_MAG(type, 0), magnify) == AI_SUCCESS &&
                       magnify == 0x2600; // glTF's NEAREST
        break;
    }
    return file;
}

void WriteMesh(const aiMesh* mesh, const std::vector<unsigned>& uvChannels, std::size_t materialCount, Writer& out)
{
    FileMesh file;
    if (mesh && mesh->mVertices) {
        file.name = mesh->mName.C_Str();
        if (mesh->mMaterialIndex < materialCount)
            file.material = mesh->mMaterialIndex;
        // One kind per mesh (the meshes are sorted by kind): the largest.
        const unsigned types = mesh->mPrimitiveTypes;
        const unsigned corners = (types & aiPrimitiveType_TRIANGLE) ? 3 : (types & aiPrimitiveType_LINE) ? 2 : 1;
        file.kind = corners == 3 ? MESH_TRIANGLES : corners == 2 ? MESH_LINES : MESH_POINTS;
        const std::size_t vertexCount = mesh->mNumVertices;
        for (unsigned f = 0; mesh->mFaces && f < mesh->mNumFaces; ++f) {
            const aiFace& face = mesh->mFaces[f];
            if (face.mNumIndices != corners || !face.mIndices)
                continue;
            if (std::any_of(face.mIndices, face.mIndices + corners, [&](unsigned i) { return i >= vertexCount; }))
                continue;
            file.indices.insert(file.indices.end(), face.mIndices, face.mIndices + corners);
        }
        // A point cloud may come without faces: every vertex is a point.
        if (!mesh->mFaces && corners == 1 && vertexCount < 0xffffffffu)
            for (uint32_t v = 0; v < vertexCount; ++v)
                file.indices.push_back(v);
        if (!file.indices.empty()) {
            const auto copy = [&](const aiVector3D* from, std::size_t size, std::vector<float>& to) {
                to.resize(vertexCount * size);
                for (std::size_t v = 0; v < vertexCount; ++v)
                    for (std::size_t k = 0; k < size; ++k)
                        to[v * size + k] = float(from[v][unsigned(k)]);
            };
            copy(mesh->mVertices, 3, file.positions);
            if (mesh->mNormals && file.kind == MESH_TRIANGLES)
                copy(mesh->mNormals, 3, file.normals);
            const unsigned channel = file.material < uvChannels.size() ? uvChannels[file.material] : 0;
            if (mesh->mTextureCoords[channel])
                copy(mesh->mTextureCoords[channel], 2, file.uvs);
            if (mesh->mColors[0]) {
                file.colors.resize(vertexCount * 4);
                for (std::size_t v = 0; v < vertexCount; ++v) {
                    const aiColor4D& c = mesh->mColors[0][v];
                    const float rgba[4] = {c.r, c.g, c.b, c.a};
                    std::memcpy(&file.colors[v * 4], rgba, sizeof(rgba));
                }
            }
        }
    }
    out.String(file.name);
    out.Pod(file.kind);
    out.Array(file.positions);
    out.Array(file.normals);
    out.Array(file.uvs);
    out.Array(file.colors);
    out.Array(file.indices);
    out.Pod(file.material);
}

void WriteNode(const aiNode* node, int depth, Writer& out)
{
    out.String(node->mName.C_Str());
    glm::mat4 transform(1.0f);
    for (unsigned row = 0; row < 4; ++row)
        for (unsigned col = 0; col < 4; ++col)
            transform[col][row] = float(node->mTransformation[row][col]);
    out.Pod(transform);
    std::vector<uint32_t> meshes;
    if (node->mMeshes)
        meshes.assign(node->mMeshes, node->mMeshes + node->mNumMeshes);
    out.Array(meshes);
    std::vector<const aiNode*> children;
    for (unsigned i = 0; node->mChildren && i < node->mNumChildren && depth < kMaxModelDepth; ++i)
        if (node->mChildren[i])
            children.push_back(node->mChildren[i]);
    out.Pod(uint64_t(children.size()));
    for (const aiNode* child : children)
        WriteNode(child, depth + 1, out);
}

std::string ReadWithAssimp(const std::string& path, float smoothingAngleDegrees)
{
    Assimp::Importer importer;
    importer.SetIOHandler(new RegularFileSystem());
    importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, smoothingAngleDegrees);
    // Validation first: the later steps trust face indices. Empty faces
    // pass it but not triangulation. Normals come after the faces got
    // vertices of their own (see SplitSharedVertices).
    // Point clouds come without faces, which validation refuses: they get
    // one point face per vertex before it.
    const aiScene* scene = importer.ReadFile(path, 0);
    const auto eachMesh = [&](void (*step)(aiMesh&)) {
        for (unsigned i = 0; scene && scene->mMeshes && i < scene->mNumMeshes; ++i)
            if (scene->mMeshes[i])
                step(*scene->mMeshes[i]);
    };
    eachMesh(AddPointFaces);
    if (scene)
        scene = importer.ApplyPostProcessing(aiProcess_ValidateDataStructure);
    eachMesh(DropEmptyFaces);
    if (scene)
        scene = importer.ApplyPostProcessing(aiProcess_Triangulate | aiProcess_SortByPType);
    eachMesh(SplitSharedVertices);
    // Assimp's join takes vertices that differ only in colour for one, so
    // files with vertex colours keep their vertices apart.
    bool colored = false;
    for (unsigned i = 0; scene && scene->mMeshes && i < scene->mNumMeshes; ++i)
        colored = colored || (scene->mMeshes[i] && scene->mMeshes[i]->mColors[0]);
    if (scene)
        scene = importer.ApplyPostProcessing(aiProcess_GenSmoothNormals |
                                             (colored ? 0u : unsigned(aiProcess_JoinIdenticalVertices)));
    Writer out;
    if (!scene) {
        out.Pod('E');
        out.String(importer.GetErrorString());
        return out.bytes;
    }
    FileModel model;
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    model.yUp = extension == ".gltf" || extension == ".glb";
    ImageCollector images(scene, path, model);
    const unsigned materialCount = scene->mMaterials ? scene->mNumMaterials : 0;
    std::vector<unsigned> uvChannels(materialCount, 0);
    for (unsigned i = 0; i < materialCount; ++i)
        model.materials.push_back(ReadMaterial(scene->mMaterials[i], images, uvChannels[i]));

    out.Pod('M');
    out.Pod(uint8_t(model.yUp ? 1 : 0));
    out.Pod(uint64_t(model.materials.size()));
    for (const FileMaterial& material : model.materials) {
        out.Pod(uint8_t(material.hasColor ? 1 : 0));
        out.Pod(material.color);
        out.Pod(material.opacity);
        out.Pod(material.alphaMode);
        out.Pod(material.alphaCutoff);
        out.Pod(material.image);
        out.Pod(material.wrapU);
        out.Pod(material.wrapV);
        out.Pod(uint8_t(material.nearest ? 1 : 0));
    }
    out.Pod(uint64_t(model.images.size()));
    for (const FileImage& image : model.images) {
        out.String(image.source);
        out.Pod(image.width);
        out.Pod(image.height);
        out.Array(image.pixels);
    }
    const unsigned meshCount = scene->mMeshes ? scene->mNumMeshes : 0;
    out.Pod(uint64_t(meshCount));
    for (unsigned i = 0; i < meshCount; ++i)
        WriteMesh(scene->mMeshes[i], uvChannels, materialCount, out);
    if (scene->mRootNode) {
        WriteNode(scene->mRootNode, 0, out);
    } else {
        out.String("");
        out.Pod(glm::mat4(1.0f));
        out.Array(std::vector<uint32_t>());
        out.Pod(uint64_t(0));
    }
    out.Pod(uint64_t(model.warnings.size()));
    for (const std::string& warning : model.warnings)
        out.String(warning);
    return out.bytes;
}

bool WriteAll(int fd, const std::string& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += std::size_t(written);
    }
    return true;
}

} // namespace

void RunModelReaderChild(int fd, const std::string& path, float smoothingAngleDegrees, std::size_t memoryLimitMb)
{
    // A fault ends the child by its signal, which the parent reports
    // (sanitizers would otherwise print a report for Assimp's faults).
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        std::signal(signal, SIG_DFL);
    rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
#ifndef ORVRENDER_SANITIZED
    if (memoryLimitMb > 0) {
        const rlim_t bytes = rlim_t(memoryLimitMb) << 20;
        rlimit limit{bytes, bytes};
        setrlimit(RLIMIT_AS, &limit);
    }
#else
    (void)memoryLimitMb;
#endif
    std::string bytes;
    try {
        bytes = ReadWithAssimp(path, smoothingAngleDegrees);
    } catch (const std::bad_alloc&) {
        _exit(kExitNoMemory);
    } catch (const std::exception& e) {
        Writer out;
        out.Pod('E');
        out.String(e.what());
        bytes = out.bytes;
    } catch (...) {
        _exit(kExitFailed);
    }
    _exit(WriteAll(fd, bytes) ? 0 : kExitFailed);
}

} // namespace orvrender
