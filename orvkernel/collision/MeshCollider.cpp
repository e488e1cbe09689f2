#include <orvkernel/collision/MeshCollider.h>

#include <orvcommon/Math.h>
#include <orvkernel/collision/Float4.h>
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
    // (rigid placements, uniform scales): the rotation (q4[row][col], splat)
    // and the scale. The map by column, its shift, a's margin, the slack.
    bool similar = false;
    float scale = 1.0f;
    Float4 q4[3][3], r4[3], t4, margin4, slack4, scale4;

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
                q4[row][col] = Float4::Splat(float(r[col][row] / std::sqrt(s2)));
        for (int col = 0; col < 3; ++col)
            r4[col] = Float4::Of(glm::vec3(toA.r[0][col], toA.r[1][col], toA.r[2][col]));
        t4 = Float4::Of(glm::vec3(toA.t[0], toA.t[1], toA.t[2]));
        margin4 = Float4::Splat(toA.margin);
        slack4 = Float4::Splat(toA.slack);
        scale4 = Float4::Splat(scale);
    }

    // The two boxes of a test, ready for the lanes. A's box: its axes as
    // columns (lane i: axis i), each axis component in all lanes, its centre
    // and its half sizes grown by the margin. B's box in a's coordinates
    // (under a similarity): its axes as columns (lane j: axis j), its
    // centre and half sizes. One of them serves both children of the other
    // side's opened node.
    struct BoxA {
        Float4 column[3];
        Float4 component[3][3]; // component[i][k]: axis i's k-th, splat
        Float4 center, half;
    };
    struct BoxB {
        Float4 column[3];
        Float4 center, half;
    };
    glm::vec3 Center(const Volume& vb) const
    {
        return Apply(toA.r, vb.center) + glm::vec3(toA.t[0], toA.t[1], toA.t[2]);
    }
    BoxA PrepareA(const Volume& va) const
    {
        BoxA box;
        for (int i = 0; i < 3; ++i) {
            box.column[i] = Float4::Of(va.axis[i]);
            for (int k = 0; k < 3; ++k)
                box.component[i][k] = Float4::Splat(va.axis[i][k]);
        }
        Float4::Transpose(box.column[0], box.column[1], box.column[2]);
        box.center = Float4::Of(va.center);
        box.half = Float4::Of(va.half) + margin4;
        return box;
    }
    BoxB PrepareB(const Volume& vb) const
    {
        BoxB box;
        Float4 v[3] = {Float4::Of(vb.axis[0]), Float4::Of(vb.axis[1]), Float4::Of(vb.axis[2])};
        Float4::Transpose(v[0], v[1], v[2]); // v[m], lane j: axis j's m-th
        for (int k = 0; k < 3; ++k)
            box.column[k] = q4[k][0] * v[0] + q4[k][1] * v[1] + q4[k][2] * v[2];
        const Float4 c = Float4::Of(vb.center);
        box.center = r4[0] * c.Lane<0>() + r4[1] * c.Lane<1>() + r4[2] * c.Lane<2>() + t4;
        box.half = Float4::Of(vb.half) * scale4;
        return box;
    }

    // Separating-axis test of two node boxes. Under a similarity, all
    // fifteen axes (each box's three, and the cross products of their
    // edges) in a's coordinates, all at once in the lanes; otherwise each
    // box's three axes, each in its own coordinates. Every comparison allows
    // for the margin and the slack, so nearly parallel edges never separate
    // by rounding.
    bool Overlap(const Volume& va, const BoxA& a4, const Volume& vb, const BoxB& b4) const
    {
        if (!similar)
            return OverlapGeneral(va, vb);
        const Float4 d = b4.center - a4.center;
        // t, lane i: the offset along a's axis i. c[i], lane j: the cosine
        // of a's axis i with b's axis j; k[j], lane i: the same, by column.
        const Float4 t = a4.column[0] * d.Lane<0>() + a4.column[1] * d.Lane<1>() + a4.column[2] * d.Lane<2>();
        Float4 c[3], k[3];
        for (int i = 0; i < 3; ++i) {
            c[i] = a4.component[i][0] * b4.column[0] + a4.component[i][1] * b4.column[1] +
                   a4.component[i][2] * b4.column[2];
            k[i] = c[i].Abs();
        }
        const Float4 ac[3] = {k[0], k[1], k[2]};
        Float4::Transpose(k[0], k[1], k[2]);
        const Float4& ha = a4.half;
        const Float4& hb = b4.half;
        // a's axes (lane i), then b's (lane j).
        Float4 apart = Float4::Greater(t.Abs(), ha + k[0] * hb.Lane<0>() + k[1] * hb.Lane<1>() +
                                                    k[2] * hb.Lane<2>() + slack4);
        apart = apart | Float4::Greater((c[0] * t.Lane<0>() + c[1] * t.Lane<1>() + c[2] * t.Lane<2>()).Abs(),
                                        hb + ac[0] * ha.Lane<0>() + ac[1] * ha.Lane<1>() + ac[2] * ha.Lane<2>() +
                                            slack4);
        // Edge cross products: a's axis i with b's axis j (lane j).
        const Float4 hb1 = hb.Turn1(), hb2 = hb.Turn2();
        apart = apart | Float4::Greater((t.Lane<2>() * c[1] - t.Lane<1>() * c[2]).Abs(),
                                        ha.Lane<1>() * ac[2] + ha.Lane<2>() * ac[1] + hb1 * ac[0].Turn2() +
                                            hb2 * ac[0].Turn1() + slack4);
        apart = apart | Float4::Greater((t.Lane<0>() * c[2] - t.Lane<2>() * c[0]).Abs(),
                                        ha.Lane<2>() * ac[0] + ha.Lane<0>() * ac[2] + hb1 * ac[1].Turn2() +
                                            hb2 * ac[1].Turn1() + slack4);
        apart = apart | Float4::Greater((t.Lane<1>() * c[0] - t.Lane<0>() * c[1]).Abs(),
                                        ha.Lane<0>() * ac[1] + ha.Lane<1>() * ac[0] + hb1 * ac[2].Turn2() +
                                            hb2 * ac[2].Turn1() + slack4);
        return !apart.Any();
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
                const BoxB b4 = similar ? PrepareB(nb) : BoxB();
                for (uint32_t c = na.First(); c < na.First() + 2; ++c)
                    if (Overlap(volumesA[c], similar ? PrepareA(volumesA[c]) : BoxA(), nb, b4))
                        children[kept++] = {c, p.b};
            } else {
                const BoxA a4 = similar ? PrepareA(na) : BoxA();
                for (uint32_t c = nb.First(); c < nb.First() + 2; ++c)
                    if (Overlap(na, a4, volumesB[c], similar ? PrepareB(volumesB[c]) : BoxB()))
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
    return walk.Overlap(rootA, walk.PrepareA(rootA), rootB, walk.PrepareB(rootB)) && walk.Run(0, 0);
}

} // namespace orvcore
