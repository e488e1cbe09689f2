#include <orvrender/ModelReader.h>

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
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <assimp/DefaultIOSystem.h>
#include <assimp/Importer.hpp>
#include <assimp/material.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

#include <glm/common.hpp>

#if defined(__SANITIZE_ADDRESS__)
#define ORVRENDER_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ORVRENDER_SANITIZED 1
#endif
#endif

// The child process reads with Assimp and writes the model to a pipe in the
// form below (native byte order: both ends are this program); the parent
// decodes it with every size checked, so that nothing the child wrote can
// take the parent out of bounds.
//
//   'M' meshes nodes        a model: u64 count, then each mesh; the root node
//   'E' string              the reason the file could not be read
//   mesh:   string name, floats positions, floats normals, u32s indices,
//           u8 hasColor, f32 r g b
//   node:   string name, f32 x16 transform, u32s meshes, u64 children, nodes
//   string, floats, u32s:   u64 count, then the elements

namespace orvrender {

namespace {

// ---- The child: Assimp ----

constexpr int kExitFailed = 3;
constexpr int kExitNoMemory = 4;

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
    if (!std::isfinite(value.x) || !std::isfinite(value.y) || !std::isfinite(value.z))
        return false;
    color = glm::clamp(value, glm::vec3(0.0f), glm::vec3(1.0f));
    return true;
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

void WriteMesh(const aiScene* scene, const aiMesh* mesh, Writer& out)
{
    FileMesh file;
    if (mesh) {
        file.name = mesh->mName.C_Str();
        file.hasColor = FileColor(scene, mesh, file.color);
    }
    if (mesh && (mesh->mPrimitiveTypes & aiPrimitiveType_TRIANGLE) && mesh->mVertices && mesh->mFaces) {
        const std::size_t vertexCount = mesh->mNumVertices;
        for (unsigned f = 0; f < mesh->mNumFaces; ++f) {
            const aiFace& face = mesh->mFaces[f];
            if (face.mNumIndices != 3 || !face.mIndices)
                continue;
            if (face.mIndices[0] >= vertexCount || face.mIndices[1] >= vertexCount || face.mIndices[2] >= vertexCount)
                continue;
            file.indices.insert(file.indices.end(), face.mIndices, face.mIndices + 3);
        }
        if (!file.indices.empty()) {
            file.positions.resize(vertexCount * 3);
            for (std::size_t v = 0; v < vertexCount; ++v) {
                file.positions[v * 3] = float(mesh->mVertices[v].x);
                file.positions[v * 3 + 1] = float(mesh->mVertices[v].y);
                file.positions[v * 3 + 2] = float(mesh->mVertices[v].z);
            }
            if (mesh->mNormals) {
                file.normals.resize(vertexCount * 3);
                for (std::size_t v = 0; v < vertexCount; ++v) {
                    file.normals[v * 3] = float(mesh->mNormals[v].x);
                    file.normals[v * 3 + 1] = float(mesh->mNormals[v].y);
                    file.normals[v * 3 + 2] = float(mesh->mNormals[v].z);
                }
            }
        }
    }
    out.String(file.name);
    out.Array(file.positions);
    out.Array(file.normals);
    out.Array(file.indices);
    out.Pod(uint8_t(file.hasColor ? 1 : 0));
    out.Pod(file.color);
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
    const aiScene* scene = importer.ReadFile(path, aiProcess_ValidateDataStructure);
    const auto eachMesh = [&](void (*step)(aiMesh&)) {
        for (unsigned i = 0; scene && scene->mMeshes && i < scene->mNumMeshes; ++i)
            if (scene->mMeshes[i])
                step(*scene->mMeshes[i]);
    };
    eachMesh(DropEmptyFaces);
    if (scene)
        scene = importer.ApplyPostProcessing(aiProcess_Triangulate | aiProcess_SortByPType);
    eachMesh(SplitSharedVertices);
    if (scene)
        scene = importer.ApplyPostProcessing(aiProcess_GenSmoothNormals | aiProcess_JoinIdenticalVertices);
    Writer out;
    if (!scene) {
        out.Pod('E');
        out.String(importer.GetErrorString());
        return out.bytes;
    }
    out.Pod('M');
    const unsigned meshCount = scene->mMeshes ? scene->mNumMeshes : 0;
    out.Pod(uint64_t(meshCount));
    for (unsigned i = 0; i < meshCount; ++i)
        WriteMesh(scene, scene->mMeshes[i], out);
    if (scene->mRootNode) {
        WriteNode(scene->mRootNode, 0, out);
    } else {
        out.String("");
        out.Pod(glm::mat4(1.0f));
        out.Array(std::vector<uint32_t>());
        out.Pod(uint64_t(0));
    }
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

[[noreturn]] void RunReader(int fd, const std::string& path, float smoothingAngleDegrees, std::size_t memoryLimitMb)
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

// ---- The parent: decoding ----

/// Assimp's reason, made fit for a one-line message: some readers quote the
/// rest of the file, and a file may hold any bytes.
std::string OneLine(std::string text)
{
    constexpr std::size_t kMaxReason = 200;
    if (text.empty())
        return "unknown error";
    for (char& c : text) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte >= 0x7f)
            c = '?';
    }
    if (text.size() > kMaxReason)
        text = text.substr(0, kMaxReason) + "...";
    return text;
}

class Reader {
public:
    explicit Reader(const std::string& bytes) : m_Bytes(bytes) {}

    template <typename T>
    void Pod(T& value)
    {
        Need(sizeof(T));
        std::memcpy(&value, m_Bytes.data() + m_At, sizeof(T));
        m_At += sizeof(T);
    }
    uint64_t Count(std::size_t elementSize)
    {
        uint64_t count = 0;
        Pod(count);
        if (count > Left() / std::max<std::size_t>(elementSize, 1))
            throw Bad();
        return count;
    }
    template <typename T>
    void Array(std::vector<T>& values)
    {
        values.resize(Count(sizeof(T)));
        if (!values.empty())
            std::memcpy(values.data(), m_Bytes.data() + m_At, values.size() * sizeof(T));
        m_At += values.size() * sizeof(T);
    }
    void String(std::string& text)
    {
        const uint64_t count = Count(1);
        text.assign(m_Bytes, m_At, count);
        m_At += count;
    }
    bool AtEnd() const { return m_At == m_Bytes.size(); }

    struct Bad {};

private:
    std::size_t Left() const { return m_Bytes.size() - m_At; }
    void Need(std::size_t size) const
    {
        if (Left() < size)
            throw Bad();
    }

    const std::string& m_Bytes;
    std::size_t m_At = 0;
};

void ReadNode(Reader& in, int depth, FileNode& node)
{
    if (depth > kMaxModelDepth)
        throw Reader::Bad();
    in.String(node.name);
    in.Pod(node.transform);
    in.Array(node.meshes);
    // Each child takes at least a name, a transform and two counts.
    node.children.resize(in.Count(sizeof(uint64_t) * 3 + sizeof(glm::mat4)));
    for (FileNode& child : node.children)
        ReadNode(in, depth + 1, child);
}

bool Decode(const std::string& bytes, FileModel& model, std::string& reason)
{
    try {
        Reader in(bytes);
        char kind = 0;
        in.Pod(kind);
        if (kind == 'E') {
            in.String(reason);
            reason = OneLine(reason);
            return false;
        }
        if (kind != 'M')
            throw Reader::Bad();
        model.meshes.resize(in.Count(sizeof(uint64_t) * 4 + 1 + sizeof(glm::vec3)));
        for (FileMesh& mesh : model.meshes) {
            in.String(mesh.name);
            in.Array(mesh.positions);
            in.Array(mesh.normals);
            in.Array(mesh.indices);
            uint8_t hasColor = 0;
            in.Pod(hasColor);
            in.Pod(mesh.color);
            mesh.hasColor = hasColor != 0;
            const std::size_t vertexCount = mesh.positions.size() / 3;
            const bool normalsFit = mesh.normals.empty() || mesh.normals.size() == mesh.positions.size();
            if (mesh.positions.size() % 3 != 0 || !normalsFit || mesh.indices.size() % 3 != 0 ||
                std::any_of(mesh.indices.begin(), mesh.indices.end(), [&](uint32_t i) { return i >= vertexCount; }))
                throw Reader::Bad();
            mesh.color = glm::clamp(mesh.color, glm::vec3(0.0f), glm::vec3(1.0f));
        }
        ReadNode(in, 0, model.root);
        if (!in.AtEnd())
            throw Reader::Bad();
        return true;
    } catch (const Reader::Bad&) {
        reason = "the reader gave back a damaged model";
        return false;
    }
}

/// Refuses files that Assimp would read forever: a PLY header that no
/// "end_header" line closes (within the first MiB).
bool PreScreen(const std::string& path, std::string& reason)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (extension != ".ply")
        return true;
    std::ifstream in(path, std::ios::binary);
    std::string head(std::size_t(1) << 20, '\0');
    in.read(&head[0], std::streamsize(head.size()));
    head.resize(std::size_t(std::max<std::streamsize>(in.gcount(), 0)));
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    for (std::size_t line = 0; line < head.size();) {
        std::size_t at = line;
        while (at < head.size() && (head[at] == ' ' || head[at] == '\t'))
            ++at;
        if (head.compare(at, 10, "end_header") == 0 && (at + 10 == head.size() || isBlank(head[at + 10])))
            return true;
        const std::size_t end = head.find('\n', at);
        line = end == std::string::npos ? head.size() : end + 1;
    }
    reason = "the PLY header has no end_header line";
    return false;
}

} // namespace

bool ReadModelFile(const std::string& path, float smoothingAngleDegrees, unsigned timeLimitSeconds,
                   std::size_t memoryLimitMb, FileModel& model, std::string& reason)
{
    model = FileModel();
    std::error_code code;
    if (std::filesystem::is_directory(path, code)) {
        reason = "is a directory";
        return false;
    }
    if (!std::filesystem::exists(path, code)) {
        reason = "no such file";
        return false;
    }
    if (!std::filesystem::is_regular_file(path, code)) {
        reason = "not a regular file";
        return false;
    }
    if (!PreScreen(path, reason))
        return false;
    if (!std::isfinite(smoothingAngleDegrees))
        smoothingAngleDegrees = 30.0f;
    smoothingAngleDegrees = std::clamp(smoothingAngleDegrees, 0.0f, 175.0f);

    int pipeEnds[2];
    if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
        reason = std::string("cannot start the reader: ") + std::strerror(errno);
        return false;
    }
    const pid_t child = ::fork();
    if (child < 0) {
        reason = std::string("cannot start the reader: ") + std::strerror(errno);
        ::close(pipeEnds[0]);
        ::close(pipeEnds[1]);
        return false;
    }
    if (child == 0) {
        ::close(pipeEnds[0]);
        RunReader(pipeEnds[1], path, smoothingAngleDegrees, memoryLimitMb);
    }
    ::close(pipeEnds[1]);

    // Read until the child closes its end or the time is up.
    std::string bytes;
    bool timedOut = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeLimitSeconds);
    std::vector<char> chunk(1 << 16);
    for (;;) {
        using std::chrono::milliseconds;
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            timedOut = true;
            break;
        }
        pollfd wait{pipeEnds[0], POLLIN, 0};
        const int ready = ::poll(&wait, 1, int(std::min<long long>(left.count(), 1000)));
        if (ready < 0 && errno != EINTR)
            break;
        if (ready <= 0)
            continue;
        const ssize_t got = ::read(pipeEnds[0], chunk.data(), chunk.size());
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got <= 0)
            break;
        bytes.append(chunk.data(), std::size_t(got));
    }
    ::close(pipeEnds[0]);
    if (timedOut)
        ::kill(child, SIGKILL);
    int status = 0;
    pid_t waited;
    while ((waited = ::waitpid(child, &status, 0)) < 0 && errno == EINTR) {
    }

    if (timedOut) {
        reason = "reading took longer than " + std::to_string(timeLimitSeconds) + " s";
        return false;
    }
    if (waited == child && WIFSIGNALED(status)) {
        reason = "the file made the reader fail (signal " + std::to_string(WTERMSIG(status)) + ")";
        return false;
    }
    if (waited == child && WIFEXITED(status) && WEXITSTATUS(status) == kExitNoMemory) {
        reason = "the reader ran out of memory";
        return false;
    }
    if (waited == child && (!WIFEXITED(status) || WEXITSTATUS(status) != 0)) {
        reason = "the file made the reader fail (exit status " + std::to_string(WEXITSTATUS(status)) + ")";
        return false;
    }
    if (!Decode(bytes, model, reason)) {
        model = FileModel();
        return false;
    }
    return true;
}

} // namespace orvrender
