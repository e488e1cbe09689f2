#include <orvkernel/collision/MeshCollider.h>

#include <orvcommon/Math.h>
#include <orvkernel/collision/TriangleIntersector.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include <glm/mat3x3.hpp>
#include <glm/matrix.hpp>

namespace orvcore {

namespace {

// Bound on |fl(M v) - M v| per component, relative to the sum of the
// magnitudes of its terms: placing a corner rounds two products and three
// sums (at most 3 units of 2^-24, about 1.8e-7), taken with a safety
// factor of five.
constexpr double kPlacementError = 1e-6;
// Bound on the rounding of a single-precision box test, relative to the
// largest coordinate it involves (about ten roundings of 6e-8 on values up
// to twice that size), with a safety factor of eight.
constexpr float kTestSlack = 1e-5f;
// Linear parts worse conditioned than this are not used as a frame.
constexpr double kMaxCondition = 1e8;

using Triangle = CollisionMesh::Triangle;

// One mesh as the walk sees it: its matrix split into linear part and
// translation (in double), or already placed (a copy in world coordinates).
struct Side {
    const CollisionMesh* mesh = nullptr;
    std::shared_ptr<const CollisionMesh> copy;
    glm::mat4 matrix{1.0f};
    bool placed = false; // corners go through `matrix`
    glm::dmat3 linear{1.0};
    glm::dvec3 translation{0.0};
    glm::dmat3 inverse{1.0};
    bool invertible = true;
    double inverseNorm = std::sqrt(3.0); // Frobenius norm: at least the spectral one
    double error = 0.0;                  // world-space bound on placement rounding

    void Setup(const CollisionMesh& m, const glm::mat4& world)
    {
        mesh = &m;
        matrix = world;
        bool affine = world[0][3] == 0.0f && world[1][3] == 0.0f && world[2][3] == 0.0f && world[3][3] == 1.0f;
        for (int c = 0; c < 4 && affine; ++c)
            affine = std::isfinite(world[c][0]) && std::isfinite(world[c][1]) && std::isfinite(world[c][2]);
        if (!affine) {
            PlaceAll();
            return;
        }
        placed = true;
        linear = glm::dmat3(glm::mat3(world));
        translation = glm::dvec3(glm::vec3(world[3]));
        const glm::vec3& v = m.GetMaxMagnitude();
        glm::dvec3 err(0.0);
        for (int r = 0; r < 3; ++r)
            err[r] = kPlacementError * (std::fabs(linear[0][r]) * v.x + std::fabs(linear[1][r]) * v.y +
                                        std::fabs(linear[2][r]) * v.z + std::fabs(translation[r]));
        error = glm::length(err);
        const double det = glm::determinant(linear);
        invertible = false;
        if (std::isfinite(det) && det != 0.0) {
            inverse = glm::inverse(linear);
            inverseNorm = Frobenius(inverse);
            const double condition = Frobenius(linear) * inverseNorm;
            invertible = std::isfinite(condition) && condition < kMaxCondition;
        }
    }

    // Replaces the mesh by its placed copy; the matrix becomes the identity.
    void PlaceAll()
    {
        copy = CollisionMesh::Transformed(*mesh, matrix);
        mesh = copy.get();
        placed = false;
        linear = inverse = glm::dmat3(1.0);
        translation = glm::dvec3(0.0);
        invertible = true;
        inverseNorm = std::sqrt(3.0);
        error = 0.0;
    }

    static double Frobenius(const glm::dmat3& m)
    {
        double s = 0.0;
        for (int c = 0; c < 3; ++c)
            for (int r = 0; r < 3; ++r)
                s += m[c][r] * m[c][r];
        return std::sqrt(s);
    }
};

// A map from one side's coordinates into the other's, in single precision.
struct Map {
    float r[3][3];    // row-major
    float absR[3][3]; // |r|
    float t[3];
    float margin; // growth of the target side's boxes
};

void MakeMap(const glm::dmat3& into, const glm::dmat3& from, const glm::dvec3& shift, Map& map)
{
    const glm::dmat3 r = into * from;
    const glm::dvec3 t = into * shift;
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col) {
            map.r[row][col] = float(r[col][row]);
            map.absR[row][col] = std::fabs(map.r[row][col]);
        }
        map.t[row] = float(t[row]);
    }
}

// Largest magnitude a map's results and terms take over a box of the source
// (given by its corners' largest magnitudes), plus the target's own.
float Scale(const Map& map, const glm::vec3& source, const glm::vec3& target)
{
    float s = 0.0f;
    for (int k = 0; k < 3; ++k)
        s = std::max(s, map.absR[k][0] * source.x + map.absR[k][1] * source.y + map.absR[k][2] * source.z +
                            std::fabs(map.t[k]));
    return s + std::max(target.x, std::max(target.y, target.z));
}

struct Walk {
    const Side& a; // the frame
    const Side& b; // carried into it
    Map toA;       // b's coordinates into a's
    Map toB;       // a's coordinates into b's (when b's linear part is invertible)
    bool useB = false;
    float sizeScale = 1.0f; // b's lengths in a's units, roughly

    Walk(const Side& frame, const Side& carried) : a(frame), b(carried) {}

    // Separating-axis test on a's three axes, then on b's.
    bool Overlap(const Bvh::Node& na, const Bvh::Node& nb) const
    {
        const glm::vec3 ca = (na.min + na.max) * 0.5f, ha = (na.max - na.min) * 0.5f;
        const glm::vec3 cb = (nb.min + nb.max) * 0.5f, hb = (nb.max - nb.min) * 0.5f;
        for (int k = 0; k < 3; ++k) {
            const float d = toA.r[k][0] * cb.x + toA.r[k][1] * cb.y + toA.r[k][2] * cb.z + toA.t[k] - ca[k];
            const float reach =
                ha[k] + toA.margin + toA.absR[k][0] * hb.x + toA.absR[k][1] * hb.y + toA.absR[k][2] * hb.z;
            if (std::fabs(d) > reach)
                return false;
        }
        if (!useB)
            return true;
        for (int k = 0; k < 3; ++k) {
            const float d = toB.r[k][0] * ca.x + toB.r[k][1] * ca.y + toB.r[k][2] * ca.z + toB.t[k] - cb[k];
            const float reach =
                hb[k] + toB.margin + toB.absR[k][0] * ha.x + toB.absR[k][1] * ha.y + toB.absR[k][2] * ha.z;
            if (std::fabs(d) > reach)
                return false;
        }
        return true;
    }

    // The triangles of a leaf with their corners placed, and their boxes.
    static uint32_t Place(const Side& s, const Bvh::Node& leaf, Triangle* out, glm::vec3* lo, glm::vec3* hi)
    {
        const Triangle* tris = s.mesh->GetTriangles().data() + leaf.first;
        for (uint32_t k = 0; k < leaf.count; ++k) {
            if (s.placed) {
                for (int c = 0; c < 3; ++c)
                    out[k].v[c] = Math::transformVec3(s.matrix, tris[k].v[c]);
            } else {
                out[k] = tris[k];
            }
            lo[k] = glm::min(out[k].v[0], glm::min(out[k].v[1], out[k].v[2]));
            hi[k] = glm::max(out[k].v[0], glm::max(out[k].v[1], out[k].v[2]));
        }
        return leaf.count;
    }

    bool Leaves(const Bvh::Node& na, const Bvh::Node& nb) const
    {
        Triangle ta[CollisionMesh::kLeafSize], tb[CollisionMesh::kLeafSize];
        glm::vec3 loA[CollisionMesh::kLeafSize], hiA[CollisionMesh::kLeafSize];
        glm::vec3 loB[CollisionMesh::kLeafSize], hiB[CollisionMesh::kLeafSize];
        const uint32_t countA = Place(a, na, ta, loA, hiA), countB = Place(b, nb, tb, loB, hiB);
        for (uint32_t i = 0; i < countA; ++i) {
            for (uint32_t j = 0; j < countB; ++j) {
                // Closed box overlap on the placed corners: exact, and false
                // for non-finite corners.
                const bool boxes = loA[i].x <= hiB[j].x && loB[j].x <= hiA[i].x && loA[i].y <= hiB[j].y &&
                                   loB[j].y <= hiA[i].y && loA[i].z <= hiB[j].z && loB[j].z <= hiA[i].z;
                if (boxes && TriangleIntersector::Intersect(ta[i].v, tb[j].v))
                    return true;
            }
        }
        return false;
    }

    static float Size(const Bvh::Node& n) { return (n.max.x - n.min.x) + (n.max.y - n.min.y) + (n.max.z - n.min.z); }

    bool Run(uint32_t startA, uint32_t startB) const
    {
        const Bvh::NodeArray& nodesA = a.mesh->GetTree().GetNodes();
        const Bvh::NodeArray& nodesB = b.mesh->GetTree().GetNodes();
        struct Pair {
            uint32_t a, b;
        };
        constexpr int kStack = 256;
        Pair stack[kStack];
        int top = 0;
        stack[top++] = {startA, startB};
        while (top > 0) {
            const Pair p = stack[--top];
            const Bvh::Node& na = nodesA[p.a];
            const Bvh::Node& nb = nodesB[p.b];
            if (!Overlap(na, nb))
                continue;
            const bool leafA = na.IsLeaf(), leafB = nb.IsLeaf();
            if (leafA && leafB) {
                if (Leaves(na, nb))
                    return true;
                continue;
            }
            // Open the larger box.
            const bool openA = !leafA && (leafB || Size(na) >= Size(nb) * sizeScale);
            const Pair first = openA ? Pair{na.first, p.b} : Pair{p.a, nb.first};
            const Pair second = openA ? Pair{na.first + 1, p.b} : Pair{p.a, nb.first + 1};
            if (top + 2 > kStack) {
                // Deeper than any balanced tree goes: finish these two on
                // a fresh stack.
                if (Run(first.a, first.b) || Run(second.a, second.b))
                    return true;
                continue;
            }
            stack[top++] = second;
            stack[top++] = first;
        }
        return false;
    }
};

} // namespace

bool MeshCollider::Intersect(const CollisionMesh& meshA, const glm::mat4& ma, const CollisionMesh& meshB,
                             const glm::mat4& mb)
{
    if (meshA.IsEmpty() || meshB.IsEmpty())
        return false;
    Side sa, sb;
    sa.Setup(meshA, ma);
    sb.Setup(meshB, mb);
    // The frame needs an invertible linear part; the answer does not depend
    // on which mesh is which.
    if (!sa.invertible && sb.invertible)
        std::swap(sa, sb);
    if (!sa.invertible)
        sa.PlaceAll();
    if (sa.mesh->IsEmpty() || sb.mesh->IsEmpty())
        return false;

    Walk walk(sa, sb);
    MakeMap(sa.inverse, sb.linear, sb.translation - sa.translation, walk.toA);
    const double reach = sa.error + sb.error; // world distance the placed triangles may lie off their boxes
    const glm::vec3& magA = sa.mesh->GetMaxMagnitude();
    const glm::vec3& magB = sb.mesh->GetMaxMagnitude();
    walk.toA.margin = float(reach * sa.inverseNorm) + kTestSlack * Scale(walk.toA, magB, magA);
    walk.useB = sb.invertible;
    if (walk.useB) {
        MakeMap(sb.inverse, sa.linear, sa.translation - sb.translation, walk.toB);
        walk.toB.margin = float(reach * sb.inverseNorm) + kTestSlack * Scale(walk.toB, magA, magB);
    }
    walk.sizeScale = float(Side::Frobenius(sa.inverse * sb.linear) / std::sqrt(3.0));
    return walk.Run(0, 0);
}

} // namespace orvcore
