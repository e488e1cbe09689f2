#include <orvrender/ModelReader.h>
#include <orvrender/ModelReaderWire.h>
#include <orvrender/StlReader.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <glm/common.hpp>

namespace orvrender {

namespace {

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

/// A colour component, opacity or cut-off from the child: in [0, 1], 1 when
/// not a number.
float Unit(float value) { return std::isfinite(value) ? std::clamp(value, 0.0f, 1.0f) : 1.0f; }
glm::vec3 Unit(const glm::vec3& value) { return glm::vec3(Unit(value.x), Unit(value.y), Unit(value.z)); }

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
        uint8_t yUp = 0;
        in.Pod(yUp);
        model.yUp = yUp != 0;
        // Each material takes 29 bytes.
        model.materials.resize(in.Count(29));
        for (FileMaterial& material : model.materials) {
            uint8_t hasColor = 0, nearest = 0;
            in.Pod(hasColor);
            in.Pod(material.color);
            in.Pod(material.opacity);
            in.Pod(material.alphaMode);
            in.Pod(material.alphaCutoff);
            in.Pod(material.image);
            in.Pod(material.wrapU);
            in.Pod(material.wrapV);
            in.Pod(nearest);
            material.hasColor = hasColor != 0;
            material.nearest = nearest != 0;
            if (material.alphaMode > ALPHA_BLEND || material.wrapU > WRAP_MIRROR || material.wrapV > WRAP_MIRROR ||
                material.image < -1)
                throw Reader::Bad();
            material.color = Unit(material.color);
            material.opacity = Unit(material.opacity);
            material.alphaCutoff = Unit(material.alphaCutoff);
        }
        model.images.resize(in.Count(sizeof(uint64_t) * 2 + sizeof(uint32_t) * 2));
        std::size_t imageBytes = 0;
        for (FileImage& image : model.images) {
            in.String(image.source);
            in.Pod(image.width);
            in.Pod(image.height);
            in.Array(image.pixels);
            if (image.width == 0 || image.height == 0 || image.width > kMaxImageSide ||
                image.height > kMaxImageSide || image.pixels.size() != std::size_t(image.width) * image.height * 4)
                throw Reader::Bad();
            imageBytes += image.pixels.size();
            if (imageBytes > kMaxImageBytes)
                throw Reader::Bad();
        }
        for (const FileMaterial& material : model.materials)
            if (material.image >= 0 && std::size_t(material.image) >= model.images.size())
                throw Reader::Bad();
        model.meshes.resize(in.Count(sizeof(uint64_t) * 6 + 1 + sizeof(uint32_t)));
        for (FileMesh& mesh : model.meshes) {
            in.String(mesh.name);
            in.Pod(mesh.kind);
            in.Array(mesh.positions);
            in.Array(mesh.normals);
            in.Array(mesh.uvs);
            in.Array(mesh.colors);
            in.Array(mesh.indices);
            in.Pod(mesh.material);
            const std::size_t vertexCount = mesh.positions.size() / 3;
            const std::size_t corners = mesh.kind == MESH_TRIANGLES ? 3 : mesh.kind == MESH_LINES ? 2 : 1;
            const auto fits = [&](const std::vector<float>& values, std::size_t size) {
                return values.empty() || values.size() == vertexCount * size;
            };
            if ((mesh.kind != MESH_TRIANGLES && mesh.kind != MESH_LINES && mesh.kind != MESH_POINTS) ||
                mesh.positions.size() % 3 != 0 || !fits(mesh.normals, 3) || !fits(mesh.uvs, 2) ||
                !fits(mesh.colors, 4) || mesh.indices.size() % corners != 0 ||
                (mesh.material != FileMesh::kNoMaterial && mesh.material >= model.materials.size()) ||
                std::any_of(mesh.indices.begin(), mesh.indices.end(), [&](uint32_t i) { return i >= vertexCount; }))
                throw Reader::Bad();
            for (float& value : mesh.uvs)
                value = std::isfinite(value) ? value : 0.0f;
            for (float& value : mesh.colors)
                value = Unit(value);
        }
        ReadNode(in, 0, model.root);
        model.warnings.resize(in.Count(sizeof(uint64_t)));
        for (std::string& warning : model.warnings) {
            in.String(warning);
            warning = OneLine(warning);
        }
        if (model.warnings.size() > kMaxWarnings)
            model.warnings.resize(kMaxWarnings);
        if (!in.AtEnd())
            throw Reader::Bad();
        return true;
    } catch (const Reader::Bad&) {
        reason = "the reader gave back a damaged model";
        return false;
    }
}

/// Whether the file name ends in `extension` (lower case), in any case.
bool HasExtension(const std::string& path, const std::string& extension)
{
    std::string own = std::filesystem::path(path).extension().string();
    std::transform(own.begin(), own.end(), own.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    return own == extension;
}

/// Refuses files that Assimp would read forever: a PLY header that no
/// "end_header" line closes (within the first MiB).
bool PreScreen(const std::string& path, std::string& reason)
{
    if (!HasExtension(path, ".ply"))
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
    // Plain binary STL, the common format of large meshes, is read here
    // directly: many times faster than Assimp's joining and smoothing.
    if (HasExtension(path, ".stl")) {
        const StlResult stl = ReadBinaryStl(path, smoothingAngleDegrees, memoryLimitMb, model, reason);
        if (stl != StlResult::NotBinary)
            return stl == StlResult::Read;
    }

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
        RunModelReaderChild(pipeEnds[1], path, smoothingAngleDegrees, memoryLimitMb);
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
