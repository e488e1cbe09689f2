#include <orvrender/FeatureEdges.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include <glm/geometric.hpp>
#include <glm/trigonometric.hpp>
#include <glm/vec3.hpp>

namespace orvrender {

namespace {

constexpr uint32_t kNoVertex = 0xffffffffu;

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

// A triangle along an edge, filed under the edge's smaller vertex.
struct EdgeEntry {
    uint32_t other;    // the larger vertex
    uint32_t triangle;
};

glm::vec3 ToVec3(const float* positions, uint32_t vertex)
{
    return glm::vec3(positions[vertex * 3], positions[vertex * 3 + 1], positions[vertex * 3 + 2]);
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

    // Every edge of a usable triangle, filed under its smaller (welded)
    // vertex by a counting sort: the triangles along an edge then lie in
    // one short list, and the lists are walked in vertex order instead of
    // probing a table far larger than the caches.
    std::vector<uint32_t> first(vertexCount + 1, 0);
    for (std::size_t t = 0; t < triangleCount; ++t) {
        if (normals[t] == glm::vec3(0.0f))
            continue;
        const uint32_t* tri = indices + t * 3;
        for (int e = 0; e < 3; ++e)
            ++first[std::min(weld[tri[e]], weld[tri[(e + 1) % 3]]) + 1];
    }
    for (std::size_t v = 0; v < vertexCount; ++v)
        first[v + 1] += first[v];
    std::vector<EdgeEntry> entries(first[vertexCount]);
    {
        std::vector<uint32_t> next(first.begin(), first.end() - 1);
        for (std::size_t t = 0; t < triangleCount; ++t) {
            if (normals[t] == glm::vec3(0.0f))
                continue;
            const uint32_t* tri = indices + t * 3;
            for (int e = 0; e < 3; ++e) {
                const uint32_t a = weld[tri[e]], b = weld[tri[(e + 1) % 3]];
                entries[next[std::min(a, b)]++] = EdgeEntry{std::max(a, b), uint32_t(t)};
            }
        }
    }

    std::size_t found = 0;
    for (std::size_t v = 0; v < vertexCount; ++v) {
        EdgeEntry* list = entries.data() + first[v];
        const std::size_t count = first[v + 1] - first[v];
        if (count == 0)
            continue;
        // By far vertex, then triangle (the first triangle of an edge
        // decides against the second, as before).
        std::sort(list, list + count, [](const EdgeEntry& x, const EdgeEntry& y) {
            return x.other != y.other ? x.other < y.other : x.triangle < y.triangle;
        });
        for (std::size_t i = 0; i < count;) {
            std::size_t end = i + 1;
            while (end < count && list[end].other == list[i].other)
                ++end;
            const bool feature = end - i != 2 ||
                                 glm::dot(normals[list[i].triangle], normals[list[i + 1].triangle]) < cosLimit;
            if (feature) {
                edges.push_back(uint32_t(v));
                edges.push_back(list[i].other);
                ++found;
            }
            i = end;
        }
    }
    return found;
}

} // namespace orvrender
