#include <orvkernel/collision/TriangleIntersector.h>

#include <orvkernel/collision/ExactPredicates.h>

#include <cmath>
#include <utility>

#include <glm/common.hpp>
#include <glm/vec3.hpp>
#include <glm/ext/vector_double3.hpp>

namespace orvcore {

namespace {

using P = ExactPredicates;

inline bool Finite(const glm::vec3* t)
{
    // Zero times a finite value is zero; times an infinity or NaN, NaN.
    const glm::vec3 z = t[0] * 0.0f + t[1] * 0.0f + t[2] * 0.0f;
    return z.x == 0.0f && z.y == 0.0f && z.z == 0.0f;
}

// Signs s[0..2] all strictly positive or all strictly negative.
inline bool OneSide(const int* s) { return (s[0] > 0 && s[1] > 0 && s[2] > 0) || (s[0] < 0 && s[1] < 0 && s[2] < 0); }
inline bool AllZero(const int* s) { return s[0] == 0 && s[1] == 0 && s[2] == 0; }
// No two of the signs are strictly opposite.
inline bool NoneOpposite(int a, int b, int c)
{
    const bool neg = a < 0 || b < 0 || c < 0, pos = a > 0 || b > 0 || c > 0;
    return !(neg && pos);
}

// An axis along which the triangle projects onto a non-degenerate 2D
// triangle (its normal has an exactly nonzero component there), trying the
// largest approximate component first; -1 for a degenerate triangle.
int DropAxis(const glm::vec3* t)
{
    const glm::dvec3 u = glm::dvec3(t[1]) - glm::dvec3(t[0]), v = glm::dvec3(t[2]) - glm::dvec3(t[0]);
    const glm::dvec3 n(std::fabs(u.y * v.z - u.z * v.y), std::fabs(u.z * v.x - u.x * v.z),
                       std::fabs(u.x * v.y - u.y * v.x));
    int order[3] = {0, 1, 2};
    if (n[order[1]] > n[order[0]])
        std::swap(order[0], order[1]);
    if (n[order[2]] > n[order[1]])
        std::swap(order[1], order[2]);
    if (n[order[1]] > n[order[0]])
        std::swap(order[0], order[1]);
    for (int axis : order) {
        if (P::Orient2d(t[0], t[1], t[2], axis) != 0)
            return axis;
    }
    return -1;
}

// Closed point-in-triangle test in the projection along `drop` (the
// triangle non-degenerate there).
bool InTriangle2d(const glm::vec3* t, const glm::vec3& p, int drop)
{
    return NoneOpposite(P::Orient2d(t[0], t[1], p, drop), P::Orient2d(t[1], t[2], p, drop),
                        P::Orient2d(t[2], t[0], p, drop));
}

// x lies within the box of p and q in the two kept coordinates (x collinear
// with them): on the closed segment.
bool Between2d(const glm::vec3& p, const glm::vec3& q, const glm::vec3& x, int drop)
{
    for (int k = 1; k <= 2; ++k) {
        const int axis = (drop + k) % 3;
        if (x[axis] < std::fmin(p[axis], q[axis]) || x[axis] > std::fmax(p[axis], q[axis]))
            return false;
    }
    return true;
}

// Closed segments pq and rs in the projection along `drop` (either may be a
// single point).
bool Segments2d(const glm::vec3& p, const glm::vec3& q, const glm::vec3& r, const glm::vec3& s, int drop)
{
    const int o1 = P::Orient2d(p, q, r, drop), o2 = P::Orient2d(p, q, s, drop);
    if ((o1 > 0 && o2 > 0) || (o1 < 0 && o2 < 0))
        return false;
    const int o3 = P::Orient2d(r, s, p, drop), o4 = P::Orient2d(r, s, q, drop);
    if (o1 != 0 && o2 != 0 && o3 != 0 && o4 != 0)
        return (o3 > 0) != (o4 > 0); // a proper crossing
    // An end on the other's line: they meet when it lies on the other.
    return (o1 == 0 && Between2d(p, q, r, drop)) || (o2 == 0 && Between2d(p, q, s, drop)) ||
           (o3 == 0 && Between2d(r, s, p, drop)) || (o4 == 0 && Between2d(r, s, q, drop));
}

// Closed segment pq against the closed triangle t, all in t's plane,
// compared in the projection along `drop`.
bool SegmentTriangle2d(const glm::vec3& p, const glm::vec3& q, const glm::vec3* t, int drop)
{
    return InTriangle2d(t, p, drop) || InTriangle2d(t, q, drop) || Segments2d(p, q, t[0], t[1], drop) ||
           Segments2d(p, q, t[1], t[2], drop) || Segments2d(p, q, t[2], t[0], drop);
}

// Two coplanar non-degenerate triangles, compared in the projection along
// `drop`: one holds a corner of the other, or two edges meet.
bool Triangles2d(const glm::vec3* a, const glm::vec3* b, int drop)
{
    for (int i = 0; i < 3; ++i) {
        if (InTriangle2d(b, a[i], drop) || InTriangle2d(a, b[i], drop))
            return true;
    }
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            if (Segments2d(a[i], a[(i + 1) % 3], b[j], b[(j + 1) % 3], drop))
                return true;
        }
    }
    return false;
}

// The segment pq (t's plane sides sp, sq known) against the non-degenerate
// triangle t: where it crosses the plane, or in the plane when it lies there.
bool SegmentTriangle(const glm::vec3& p, const glm::vec3& q, int sp, int sq, const glm::vec3* t)
{
    if ((sp > 0 && sq > 0) || (sp < 0 && sq < 0))
        return false;
    if (sp == 0 && sq == 0)
        return SegmentTriangle2d(p, q, t, DropAxis(t));
    // The line pq meets the plane at a point of the segment; that point lies
    // in the triangle when the line passes no edge on the far side.
    return NoneOpposite(P::Orient3d(p, q, t[0], t[1]), P::Orient3d(p, q, t[1], t[2]), P::Orient3d(p, q, t[2], t[0]));
}

// The two extreme corners of a degenerate triangle (collinear corners): the
// segment it covers. Along the axis of largest spread the corners are in
// line order.
void Extremes(const glm::vec3* t, glm::vec3& p, glm::vec3& q)
{
    int axis = 0;
    float best = -1.0f;
    for (int k = 0; k < 3; ++k) {
        const float spread = std::fmax(t[0][k], std::fmax(t[1][k], t[2][k])) - std::fmin(t[0][k], std::fmin(t[1][k], t[2][k]));
        if (spread > best) {
            best = spread;
            axis = k;
        }
    }
    int lo = 0, hi = 0;
    for (int i = 1; i < 3; ++i) {
        if (t[i][axis] < t[lo][axis])
            lo = i;
        if (t[i][axis] > t[hi][axis])
            hi = i;
    }
    p = t[lo];
    q = t[hi];
}

// Closed segments pq and rs in space (either may be a point).
bool Segments3d(const glm::vec3& p, const glm::vec3& q, const glm::vec3& r, const glm::vec3& s)
{
    if (P::Orient3d(p, q, r, s) != 0)
        return false;
    // Coplanar: project along an axis that keeps their plane (or line) flat
    // onto the page. A triple of them with a nonzero 2D orientation along
    // an axis proves the plane's normal has a component there.
    const glm::vec3* triples[4][3] = {{&p, &q, &r}, {&p, &q, &s}, {&p, &r, &s}, {&q, &r, &s}};
    for (const auto& t : triples) {
        for (int axis = 0; axis < 3; ++axis) {
            if (P::Orient2d(*t[0], *t[1], *t[2], axis) != 0)
                return Segments2d(p, q, r, s, axis);
        }
    }
    // All on one line (or one point): drop the axis along which the line
    // moves least; the two kept coordinates include one along which it moves.
    glm::vec3 d = q - p;
    if (d == glm::vec3(0.0f))
        d = s - r;
    if (d == glm::vec3(0.0f))
        d = r - p;
    const glm::vec3 m = glm::abs(d);
    const int drop = m.x <= m.y && m.x <= m.z ? 0 : (m.y <= m.z ? 1 : 2);
    return Segments2d(p, q, r, s, drop);
}

} // namespace

bool TriangleIntersector::Intersect(const glm::vec3* a, const glm::vec3* b)
{
    if (!Finite(a) || !Finite(b))
        return false;
    // Sides of each triangle's corners against the other's plane: all on one
    // side strictly, and they are apart.
    const int sb[3] = {P::Orient3d(a[0], a[1], a[2], b[0]), P::Orient3d(a[0], a[1], a[2], b[1]),
                       P::Orient3d(a[0], a[1], a[2], b[2])};
    if (OneSide(sb))
        return false;
    const int sa[3] = {P::Orient3d(b[0], b[1], b[2], a[0]), P::Orient3d(b[0], b[1], b[2], a[1]),
                       P::Orient3d(b[0], b[1], b[2], a[2])};
    if (OneSide(sa))
        return false;

    // All signs zero against a triangle's plane: that triangle is
    // degenerate, or the other lies in its plane.
    if (AllZero(sb) || AllZero(sa)) {
        const bool flatA = AllZero(sb) && DropAxis(a) < 0;
        const bool flatB = AllZero(sa) && DropAxis(b) < 0;
        glm::vec3 p, q, r, s;
        if (flatA && flatB) {
            Extremes(a, p, q);
            Extremes(b, r, s);
            return Segments3d(p, q, r, s);
        }
        if (flatA) {
            Extremes(a, p, q);
            return SegmentTriangle(p, q, P::Orient3d(b[0], b[1], b[2], p), P::Orient3d(b[0], b[1], b[2], q), b);
        }
        if (flatB) {
            Extremes(b, r, s);
            return SegmentTriangle(r, s, P::Orient3d(a[0], a[1], a[2], r), P::Orient3d(a[0], a[1], a[2], s), a);
        }
        // Both proper and in one plane.
        return Triangles2d(a, b, DropAxis(a));
    }

    // Proper triangles in different planes: their intersection, when there
    // is one, is a segment whose ends lie on edges, so some edge of one
    // meets the other.
    for (int i = 0; i < 3; ++i) {
        const int j = (i + 1) % 3;
        if (SegmentTriangle(a[i], a[j], sa[i], sa[j], b) || SegmentTriangle(b[i], b[j], sb[i], sb[j], a))
            return true;
    }
    return false;
}

} // namespace orvcore
