#include <orvrender/StlReader.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>
#include <glm/vec3.hpp>

namespace orvrender {

namespace {

constexpr std::size_t kHeaderBytes = 84; // 80 bytes of header, the triangle count
constexpr std::size_t kFacetBytes = 50;  // normal, three corners, attribute word
constexpr uint32_t kNone = 0xffffffffu;
/// Bytes of working memory per triangle, over-estimated: the file, corner
/// positions and numbers, face and corner normals, the position table and
/// the output arrays.
constexpr std::size_t kBytesPerTriangle = 320;

uint64_t Mix(uint64_t x)
{
    x ^= x >> 33;
    x *= 0xff51afd7ed558ccdull;
    x ^= x >> 33;
    x *= 0xc4ceb9fe1a85ec53ull;
    x ^= x >> 33;
    return x;
}

struct Bits {
    uint32_t x, y, z;
    bool operator==(const Bits& o) const { return x == o.x && y == o.y && z == o.z; }
    bool operator<(const Bits& o) const { return x != o.x ? x < o.x : y != o.y ? y < o.y : z < o.z; }
};

/// The bit pattern of a vector, -0 folded onto +0.
Bits ToBits(const glm::vec3& v)
{
    const glm::vec3 folded = v + glm::vec3(0.0f);
    Bits bits;
    std::memcpy(&bits.x, &folded.x, 4);
    std::memcpy(&bits.y, &folded.y, 4);
    std::memcpy(&bits.z, &folded.z, 4);
    return bits;
}

glm::vec3 LoadVec3(const uint8_t* bytes)
{
    float v[3];
    std::memcpy(v, bytes, sizeof(v));
    return glm::vec3(v[0], v[1], v[2]);
}

bool IsFinite(const glm::vec3& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

bool Contains(const uint8_t* header, const char* word)
{
    const std::size_t length = std::strlen(word);
    for (std::size_t i = 0; i + length <= 80; ++i)
        if (std::memcmp(header + i, word, length) == 0)
            return true;
    return false;
}

/// The header says whether the file is a plain binary STL that this reader
/// takes; `triangles` is the announced count.
bool IsPlainBinary(const uint8_t* header, std::size_t size, uint32_t& triangles)
{
    if (size < kHeaderBytes)
        return false;
    std::memcpy(&triangles, header + 80, 4);
    const uint64_t expected = kHeaderBytes + uint64_t(triangles) * kFacetBytes;
    // ASCII files begin with "solid"; some binary writers put it in the
    // header too, so the exact size decides.
    if (std::memcmp(header, "solid", 5) == 0 && expected != size)
        return false;
    return !Contains(header, "COLOR=") && !Contains(header, "MATERIAL=");
}

/// Whether a file of `size` bytes with this header is read here, and the
/// reason when it is a binary STL that cannot be.
StlResult Check(const uint8_t* header, std::size_t size, std::size_t memoryLimitMb, uint32_t& announced,
                std::string& reason)
{
    if (!header || !IsPlainBinary(header, size, announced))
        return StlResult::NotBinary;
    const uint64_t held = (size - kHeaderBytes) / kFacetBytes;
    if (held < announced) {
        reason = "the binary STL announces " + std::to_string(announced) + " triangles but holds " +
                 std::to_string(held);
        return StlResult::Failed;
    }
    if (uint64_t(announced) * kBytesPerTriangle > (uint64_t(memoryLimitMb) << 20)) {
        reason = "reading " + std::to_string(announced) + " triangles would take more than " +
                 std::to_string(memoryLimitMb) + " MiB";
        return StlResult::Failed;
    }
    return StlResult::Read;
}

/// A slot of the position table: the position's bits beside its number,
/// so that a probe reads one place only.
struct PositionSlot {
    Bits bits;
    uint32_t position; // kNone: empty
};

/// For every corner the number of its position, and the positions. The
/// table starts at half a slot per corner (most meshes share every position
/// among about six corners) and doubles when half full.
void WeldCorners(const std::vector<glm::vec3>& corners, std::vector<uint32_t>& positionOf,
                 std::vector<glm::vec3>& positions)
{
    std::size_t size = 16;
    while (size < corners.size() / 2)
        size <<= 1;
    std::vector<PositionSlot> table(size, PositionSlot{{0, 0, 0}, kNone});
    const auto hash = [](const Bits& bits) {
        return Mix((uint64_t(bits.x) << 32 | bits.y) ^ Mix(bits.z + 0x9e3779b97f4a7c15ull));
    };
    positionOf.resize(corners.size());
    // The table is far larger than the caches and its slots are random:
    // the slot of a corner some way ahead is fetched while this one is
    // looked up, so that the misses overlap.
    constexpr std::size_t kAhead = 16;
    for (std::size_t c = 0; c < corners.size(); ++c) {
        if (c + kAhead < corners.size())
            __builtin_prefetch(&table[hash(ToBits(corners[c + kAhead])) & (table.size() - 1)]);
        const Bits bits = ToBits(corners[c]);
        std::size_t mask = table.size() - 1;
        std::size_t slot = hash(bits) & mask;
        for (;;) {
            PositionSlot& entry = table[slot];
            if (entry.position == kNone) {
                entry = PositionSlot{bits, uint32_t(positions.size())};
                positionOf[c] = uint32_t(positions.size());
                positions.push_back(corners[c]);
                break;
            }
            if (entry.bits == bits) {
                positionOf[c] = entry.position;
                break;
            }
            slot = (slot + 1) & mask;
        }
        if (positions.size() * 2 > table.size()) {
            std::vector<PositionSlot> old(table.size() * 2, PositionSlot{{0, 0, 0}, kNone});
            old.swap(table);
            mask = table.size() - 1;
            for (const PositionSlot& entry : old) {
                if (entry.position == kNone)
                    continue;
                std::size_t at = hash(entry.bits) & mask;
                while (table[at].position != kNone)
                    at = (at + 1) & mask;
                table[at] = entry;
            }
        }
    }
}

/// One corner of a position while its vertex is chosen.
struct CornerNormal {
    Bits bits;        // of the normal, for the join
    uint32_t corner;  // number of the corner (3 per triangle)
    glm::vec3 normal;
};

/// Normals of the corners of one position: each the normalised sum of the
/// face normals within the limit of its own (its own always counts).
void SmoothGroup(std::vector<CornerNormal>& group, const std::vector<glm::vec3>& faceNormals, float cosLimit)
{
    const std::size_t count = group.size();
    for (CornerNormal& c : group) {
        const glm::vec3 own = faceNormals[c.corner / 3];
        if (count > kMaxSmoothCorners) {
            c.normal = own;
            continue;
        }
        glm::vec3 sum(0.0f);
        for (const CornerNormal& other : group) {
            const glm::vec3 n = faceNormals[other.corner / 3];
            if (other.corner == c.corner || glm::dot(n, own) >= cosLimit)
                sum += n;
        }
        const float length = glm::length(sum);
        c.normal = length > 0.0f && std::isfinite(length) ? sum / length : glm::vec3(0.0f);
    }
}

} // namespace

StlResult ReadBinaryStl(const uint8_t* bytes, std::size_t size, float smoothingAngleDegrees,
                        std::size_t memoryLimitMb, FileModel& model, std::string& reason)
{
    model = FileModel();
    uint32_t announced = 0;
    const StlResult checked = Check(bytes, size, memoryLimitMb, announced, reason);
    if (checked != StlResult::Read)
        return checked;
    const uint64_t extra = size - kHeaderBytes - uint64_t(announced) * kFacetBytes;
    if (extra > 0)
        model.warnings.push_back(std::to_string(extra) + " bytes after the last triangle ignored");

    // Corners of the triangles with finite coordinates, and the facet normals.
    std::vector<glm::vec3> corners, faceNormals;
    corners.reserve(std::size_t(announced) * 3);
    faceNormals.reserve(announced);
    bool fileNormals = true;
    std::size_t dropped = 0;
    for (uint32_t t = 0; t < announced; ++t) {
        const uint8_t* facet = bytes + kHeaderBytes + std::size_t(t) * kFacetBytes;
        const glm::vec3 a = LoadVec3(facet + 12), b = LoadVec3(facet + 24), c = LoadVec3(facet + 36);
        if (!IsFinite(a) || !IsFinite(b) || !IsFinite(c)) {
            ++dropped;
            continue;
        }
        const glm::vec3 normal = LoadVec3(facet);
        const float square = glm::dot(normal, normal);
        fileNormals = fileNormals && std::isfinite(square) && square > 1e-12f;
        corners.push_back(a);
        corners.push_back(b);
        corners.push_back(c);
        faceNormals.push_back(normal);
    }
    if (dropped > 0)
        model.warnings.push_back(std::to_string(dropped) + " triangles with coordinates that are not numbers left out");

    const std::size_t triangleCount = faceNormals.size();
    std::vector<uint32_t> positionOf;
    std::vector<glm::vec3> positions;
    WeldCorners(corners, positionOf, positions);

    // The corners of each position, grouped by a counting sort.
    std::vector<uint32_t> first(positions.size() + 1, 0), grouped(corners.size());
    for (uint32_t p : positionOf)
        ++first[p + 1];
    for (std::size_t p = 0; p < positions.size(); ++p)
        first[p + 1] += first[p];
    {
        std::vector<uint32_t> next(first.begin(), first.end() - 1);
        for (std::size_t c = 0; c < corners.size(); ++c)
            grouped[next[positionOf[c]]++] = uint32_t(c);
    }
    float cosLimit = 2.0f; // with the file's normals nothing is summed
    if (!fileNormals) {
        for (std::size_t t = 0; t < triangleCount; ++t) {
            const glm::vec3 n = glm::cross(corners[t * 3 + 1] - corners[t * 3], corners[t * 3 + 2] - corners[t * 3]);
            const float length = glm::length(n);
            faceNormals[t] = length > 0.0f && std::isfinite(length) ? n / length : glm::vec3(0.0f);
        }
        float angle = std::isfinite(smoothingAngleDegrees) ? smoothingAngleDegrees : 30.0f;
        angle = std::clamp(angle, 0.0f, 175.0f);
        cosLimit = angle >= 175.0f ? -2.0f : std::cos(glm::radians(angle));
    }

    // Per position, the normal of every corner, then one vertex per distinct
    // normal: corners sorted by their normal's bits share a vertex per run.
    FileMesh mesh;
    mesh.kind = MESH_TRIANGLES;
    mesh.material = 0;
    mesh.indices.resize(corners.size());
    mesh.positions.reserve(positions.size() * 3);
    mesh.normals.reserve(positions.size() * 3);
    std::vector<CornerNormal> group;
    constexpr std::size_t kAhead = 8; // positions whose triangles' normals are fetched ahead
    for (std::size_t p = 0; p < positions.size(); ++p) {
        if (p + kAhead < positions.size())
            for (uint32_t i = first[p + kAhead]; i < first[p + kAhead + 1]; ++i)
                __builtin_prefetch(&faceNormals[grouped[i] / 3]);
        group.clear();
        for (uint32_t i = first[p]; i < first[p + 1]; ++i)
            group.push_back(CornerNormal{{}, grouped[i], faceNormals[grouped[i] / 3]});
        if (!fileNormals)
            SmoothGroup(group, faceNormals, cosLimit);
        for (CornerNormal& c : group)
            c.bits = ToBits(c.normal);
        if (group.size() > 1)
            std::sort(group.begin(), group.end(), [](const CornerNormal& a, const CornerNormal& b) {
                return a.bits < b.bits || (a.bits == b.bits && a.corner < b.corner);
            });
        for (std::size_t i = 0; i < group.size(); ++i) {
            if (i == 0 || !(group[i].bits == group[i - 1].bits)) {
                const glm::vec3& n = group[i].normal;
                mesh.positions.insert(mesh.positions.end(), {positions[p].x, positions[p].y, positions[p].z});
                mesh.normals.insert(mesh.normals.end(), {n.x, n.y, n.z});
            }
            mesh.indices[group[i].corner] = uint32_t(mesh.positions.size() / 3 - 1);
        }
    }

    model.materials.emplace_back(); // no colour of its own: the importer's default
    if (triangleCount > 0) {
        model.meshes.push_back(std::move(mesh));
        model.root.meshes.push_back(0);
    }
    return StlResult::Read;
}

StlResult ReadBinaryStl(const std::string& path, float smoothingAngleDegrees, std::size_t memoryLimitMb,
                        FileModel& model, std::string& reason)
{
    model = FileModel();
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    if (!in)
        return StlResult::NotBinary; // Assimp reports it
    const std::streamoff end = in.tellg();
    if (end < std::streamoff(kHeaderBytes))
        return StlResult::NotBinary;
    const std::size_t size = std::size_t(end);
    uint8_t header[kHeaderBytes];
    in.seekg(0);
    if (!in.read(reinterpret_cast<char*>(header), kHeaderBytes))
        return StlResult::NotBinary;
    uint32_t announced = 0;
    const StlResult checked = Check(header, size, memoryLimitMb, announced, reason);
    if (checked != StlResult::Read)
        return checked;
    // Only the announced triangles are read.
    const std::size_t wanted = std::size_t(kHeaderBytes + uint64_t(announced) * kFacetBytes);
    std::vector<uint8_t> bytes(wanted);
    std::memcpy(bytes.data(), header, kHeaderBytes);
    if (!in.read(reinterpret_cast<char*>(bytes.data() + kHeaderBytes), std::streamsize(wanted - kHeaderBytes))) {
        reason = "the file could not be read to its end";
        return StlResult::Failed;
    }
    const StlResult result = ReadBinaryStl(bytes.data(), wanted, smoothingAngleDegrees, memoryLimitMb, model, reason);
    if (result == StlResult::Read && size > wanted)
        model.warnings.insert(model.warnings.begin(),
                              std::to_string(size - wanted) + " bytes after the last triangle ignored");
    return result;
}

} // namespace orvrender
