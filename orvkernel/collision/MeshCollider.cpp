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
// Allowance for the rounding of a single-precision box test, relative to the
// largest coordinate it involves: some sixty roundings of 6e-8 (3.6e-6),
// the float rounding of the fitted boxes and of the similarity below (a few
// 1e-6), with a safety factor of four.
constexpr float kTestSlack = 4e-5f;
// Linear parts worse conditioned than this are not used as a frame.
constexpr double kMaxCondition = 1e8;
// A map whose columns are orthogonal and of equal length to this relative
// precision is taken as a rotation times a scale; the difference, at most
// about 1e-6 of the coordinates, is within the test's slack.
constexpr double kSimilarity = 1e-6;

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
    float r[3][3]; // row-major
    float t[3];
    float margin; // growth of the target side's boxes (placement rounding)
    float slack;  // allowance for the rounding of the box test itself
};

void MakeMap(const glm::dmat3& into, const glm::dmat3& from, const glm::dvec3& shift, Map& map)
{
    const glm::dmat3 r = into * from;
    const glm::dvec3 t = into * shift;
    for (int row = 0; row < 3; ++row) {
        for (int col = 0; col < 3; ++col)
            map.r[row][col] = float(r[col][row]);
        map.t[row] = float(t[row]);
    }
}

// Largest magnitude a map's results and terms take over a box of the source
// (given by its corners' largest magnitudes), plus the target's own: what
// the rounding of a box test is relative to.
float Scale(const Map& map, const glm::vec3& source, const glm::vec3& target)
{
    float s = 0.0f;
    for (int k = 0; k < 3; ++k)
        s = std::max(s, std::fabs(map.r[k][0]) * source.x + std::fabs(map.r[k][1]) * source.y +
                            std::fabs(map.r[k][2]) * source.z + std::fabs(map.t[k]));
    return s + std::max(target.x, std::max(target.y, target.z));
}

inline float Dot(const glm::vec3& a, const glm::vec3& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
inline glm::vec3 Apply(const float (&r)[3][3], const glm::vec3& v)
{
    return glm::vec3(r[0][0] * v.x + r[0][1] * v.y + r[0][2] * v.z, r[1][0] * v.x + r[1][1] * v.y + r[1][2] * v.z,
                     r[2][0] * v.x + r[2][1] * v.y + r[2][2] * v.z);
}
inline glm::vec3 ApplyTransposed(const float (&r)[3][3], const glm::vec3& v)
{
    return glm::vec3(r[0][0] * v.x + r[1][0] * v.y + r[2][0] * v.z, r[0][1] * v.x + r[1][1] * v.y + r[2][1] * v.z,
                     r[0][2] * v.x + r[1][2] * v.y + r[2][2] * v.z);
}

using Volume = CollisionMesh::Volume;

struct Walk {
    const Side& a; // the frame
    const Side& b; // carried into it
    const Volume* volumesA;
    const Volume* volumesB;
    Map toA; // b's coordinates into a's
    Map toB; // a's coordinates into b's (when b's linear part is invertible)
    bool useB = false;
    // When the map into a's coordinates is a rotation times a scale
    // (rigid placements, uniform scales): the rotation and the scale.
    bool similar = false;
    float q[3][3];
    float scale = 1.0f;

    Walk(const Side& frame, const Side& carried)
        : a(frame), b(carried), volumesA(frame.mesh->GetVolumes().data()), volumesB(carried.mesh->GetVolumes().data())
    {
    }

    void Setup()
    {
        MakeMap(a.inverse, b.linear, b.translation - a.translation, toA);
        const double reach = a.error + b.error; // world distance placed triangles may lie off their boxes
        const glm::vec3& magA = a.mesh->GetMaxMagnitude();
        const glm::vec3& magB = b.mesh->GetMaxMagnitude();
        toA.margin = float(reach * a.inverseNorm);
        toA.slack = kTestSlack * Scale(toA, magB, magA);
        useB = b.invertible;
        if (useB) {
            MakeMap(b.inverse, a.linear, a.translation - b.translation, toB);
            toB.margin = float(reach * b.inverseNorm);
            toB.slack = kTestSlack * Scale(toB, magA, magB);
        }
        const glm::dmat3 r = a.inverse * b.linear;
        const glm::dmat3 g = glm::transpose(r) * r;
        const double s2 = (g[0][0] + g[1][1] + g[2][2]) / 3.0;
        double off = 0.0;
        for (int c = 0; c < 3; ++c)
            for (int k = 0; k < 3; ++k)
                off = std::max(off, std::fabs(g[c][k] - (c == k ? s2 : 0.0)));
        similar = s2 > 0.0 && std::isfinite(s2) && off <= kSimilarity * s2;
        scale = float(std::sqrt(s2));
        for (int row = 0; row < 3; ++row)
            for (int col = 0; col < 3; ++col)
                q[row][col] = float(r[col][row] / std::sqrt(s2));
    }

    // One side's box carried across, computed once for both children of
    // the other side: b's axes and centre in a's coordinates, or a's axes in
    // b's (under a similarity).
    struct CarriedB {
        glm::vec3 w[3];
        glm::vec3 p;
    };
    struct CarriedA {
        glm::vec3 back[3];
    };
    CarriedB Carry(const Volume& vb) const
    {
        return {{Apply(q, vb.axis[0]), Apply(q, vb.axis[1]), Apply(q, vb.axis[2])}, Center(vb)};
    }
    CarriedA CarryBack(const Volume& va) const
    {
        return {{ApplyTransposed(q, va.axis[0]), ApplyTransposed(q, va.axis[1]), ApplyTransposed(q, va.axis[2])}};
    }
    glm::vec3 Center(const Volume& vb) const
    {
        return Apply(toA.r, vb.center) + glm::vec3(toA.t[0], toA.t[1], toA.t[2]);
    }

    // Separating-axis test of two node boxes. Under a similarity, all
    // fifteen axes (each box's three, and the cross products of their
    // edges) in a's coordinates; otherwise each box's three axes, each in
    // its own coordinates. Every comparison allows for the margin and the
    // slack, so nearly parallel edges never separate by rounding.
    bool Overlap(const Volume& va, const Volume& vb, const CarriedB& cb) const
    {
        if (!similar)
            return OverlapGeneral(va, vb);
        return Overlap15(va, cb.p - va.center, vb.half * scale, [&](int i, float* row) {
            for (int j = 0; j < 3; ++j)
                row[j] = Dot(va.axis[i], cb.w[j]);
        });
    }
    bool Overlap(const Volume& va, const CarriedA& ca, const Volume& vb) const
    {
        if (!similar)
            return OverlapGeneral(va, vb);
        return Overlap15(va, Center(vb) - va.center, vb.half * scale, [&](int i, float* row) {
            for (int j = 0; j < 3; ++j)
                row[j] = Dot(ca.back[i], vb.axis[j]);
        });
    }

    // d: b's centre less a's, in a's coordinates; hb: b's half sizes there;
    // row(i, c): the cosines of a's axis i with b's three axes, asked for
    // one row at a time so that a's axes can separate early.
    template <typename Row>
    bool Overlap15(const Volume& va, const glm::vec3& d, const glm::vec3& hb, Row&& row) const
    {
        const glm::vec3 ha = va.half + toA.margin;
        const float e = toA.slack;
        float c[3][3], ac[3][3], t[3];
        for (int i = 0; i < 3; ++i) {
            row(i, c[i]);
            for (int j = 0; j < 3; ++j)
                ac[i][j] = std::fabs(c[i][j]);
            t[i] = Dot(va.axis[i], d);
            if (std::fabs(t[i]) > ha[i] + ac[i][0] * hb.x + ac[i][1] * hb.y + ac[i][2] * hb.z + e)
                return false;
        }
        for (int j = 0; j < 3; ++j) {
            if (std::fabs(c[0][j] * t[0] + c[1][j] * t[1] + c[2][j] * t[2]) >
                hb[j] + ac[0][j] * ha.x + ac[1][j] * ha.y + ac[2][j] * ha.z + e)
                return false;
        }
        for (int i = 0; i < 3; ++i) {
            const int i1 = (i + 1) % 3, i2 = (i + 2) % 3;
            for (int j = 0; j < 3; ++j) {
                const int j1 = (j + 1) % 3, j2 = (j + 2) % 3;
                if (std::fabs(t[i2] * c[i1][j] - t[i1] * c[i2][j]) >
                    ha[i1] * ac[i2][j] + ha[i2] * ac[i1][j] + hb[j1] * ac[i][j2] + hb[j2] * ac[i][j1] + e)
                    return false;
            }
        }
        return true;
    }

    bool OverlapGeneral(const Volume& va, const Volume& vb) const
    {
        const glm::vec3 d = Center(vb) - va.center;
        const glm::vec3 ha = va.half + toA.margin;
        glm::vec3 rb[3]; // b's box edges (half) in a's coordinates
        for (int j = 0; j < 3; ++j)
            rb[j] = Apply(toA.r, vb.axis[j]) * vb.half[j];
        for (int i = 0; i < 3; ++i) {
            const float reach = ha[i] + std::fabs(Dot(va.axis[i], rb[0])) + std::fabs(Dot(va.axis[i], rb[1])) +
                                std::fabs(Dot(va.axis[i], rb[2])) + toA.slack;
            if (std::fabs(Dot(va.axis[i], d)) > reach)
                return false;
        }
        if (!useB)
            return true;
        const glm::vec3 db = Apply(toB.r, va.center) + glm::vec3(toB.t[0], toB.t[1], toB.t[2]) - vb.center;
        glm::vec3 ra[3]; // a's box edges (half) in b's coordinates
        for (int i = 0; i < 3; ++i)
            ra[i] = Apply(toB.r, va.axis[i]) * va.half[i];
        for (int j = 0; j < 3; ++j) {
            const float reach = vb.half[j] + toB.margin + std::fabs(Dot(vb.axis[j], ra[0])) +
                                std::fabs(Dot(vb.axis[j], ra[1])) + std::fabs(Dot(vb.axis[j], ra[2])) + toB.slack;
            if (std::fabs(Dot(vb.axis[j], db)) > reach)
                return false;
        }
        return true;
    }

    // Places a leaf's triangles, with their boxes.
    static uint32_t Place(const Side& s, uint32_t first, uint32_t count, Triangle* out, glm::vec3* lo, glm::vec3* hi)
    {
        const Triangle* tris = s.mesh->GetTriangles().data() + first;
        for (uint32_t k = 0; k < count; ++k) {
            if (s.placed) {
                for (int c = 0; c < 3; ++c)
                    out[k].v[c] = Math::transformVec3(s.matrix, tris[k].v[c]);
            } else {
                out[k] = tris[k];
            }
            lo[k] = glm::min(out[k].v[0], glm::min(out[k].v[1], out[k].v[2]));
            hi[k] = glm::max(out[k].v[0], glm::max(out[k].v[1], out[k].v[2]));
        }
        return count;
    }

    bool Leaves(const Volume& na, const Volume& nb) const
    {
        constexpr int kMost = 3; // what a link's count can say
        Triangle ta[kMost], tb[kMost];
        glm::vec3 loA[kMost], hiA[kMost], loB[kMost], hiB[kMost];
        const uint32_t countA = Place(a, na.First(), na.Count(), ta, loA, hiA);
        const uint32_t countB = Place(b, nb.First(), nb.Count(), tb, loB, hiB);
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

    // Walks the overlapping pairs below (startA, startB), which overlap.
    bool Run(uint32_t startA, uint32_t startB) const
    {
        struct Pair {
            uint32_t a, b;
        };
        constexpr int kStack = 256;
        Pair stack[kStack];
        int top = 0;
        stack[top++] = {startA, startB};
        while (top > 0) {
            const Pair p = stack[--top];
            const Volume& na = volumesA[p.a];
            const Volume& nb = volumesB[p.b];
            const bool leafA = na.IsLeaf(), leafB = nb.IsLeaf();
            if (leafA && leafB) {
                if (Leaves(na, nb))
                    return true;
                continue;
            }
            // Open the larger box and keep the children that overlap the
            // other; the other's carried form serves both.
            Pair children[2];
            int kept = 0;
            if (!leafA && (leafB || Size(na) >= Size(nb) * scale)) {
                const CarriedB carried = Carry(nb);
                for (uint32_t c = na.First(); c < na.First() + 2; ++c)
                    if (Overlap(volumesA[c], nb, carried))
                        children[kept++] = {c, p.b};
            } else {
                const CarriedA carried = CarryBack(na);
                for (uint32_t c = nb.First(); c < nb.First() + 2; ++c)
                    if (Overlap(na, carried, volumesB[c]))
                        children[kept++] = {p.a, c};
            }
            if (top + kept > kStack) {
                // Deeper than any balanced tree goes: finish these on a
                // fresh stack.
                for (int k = 0; k < kept; ++k)
                    if (Run(children[k].a, children[k].b))
                        return true;
                continue;
            }
            for (int k = kept; k-- > 0;) {
                stack[top++] = children[k];
                // Its children are wanted soon: ask for them now.
                const Volume& ka = volumesA[children[k].a];
                const Volume& kb = volumesB[children[k].b];
                if (!ka.IsLeaf())
                    Prefetch(volumesA + ka.First());
                if (!kb.IsLeaf())
                    Prefetch(volumesB + kb.First());
            }
        }
        return false;
    }

    // Both children of a node: two cache lines.
    static void Prefetch(const Volume* children)
    {
        __builtin_prefetch(children);
        __builtin_prefetch(children + 1);
    }

    static float Size(const Volume& v) { return v.half.x + v.half.y + v.half.z; }
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
    walk.Setup();
    const Volume& rootA = walk.volumesA[0];
    const Volume& rootB = walk.volumesB[0];
    return walk.Overlap(rootA, rootB, walk.Carry(rootB)) && walk.Run(0, 0);
}

} // namespace orvcore
