#include <orvkernel/collision/ExactPredicates.h>

#include <cmath>

// The exact sums below rely on every operation being rounded on its own:
// this file is compiled without floating-point contraction (see
// orvkernel/CMakeLists.txt), so no multiply-add is fused behind our back.

namespace orvcore {

namespace {

constexpr double kEpsilon = 1.1102230246251565e-16; // 2^-53, half an ulp of 1
// Relative error bounds of the double evaluations (Shewchuk's bounds for
// the plain determinant of differences).
constexpr double kOrient2dBound = (3.0 + 16.0 * kEpsilon) * kEpsilon;
constexpr double kOrient3dBound = (7.0 + 56.0 * kEpsilon) * kEpsilon;

// A nonoverlapping floating-point expansion: components in increasing
// magnitude whose exact sum is the value; the last one carries its sign.
struct Expansion {
    double c[64];
    int n = 0;

    // Adds b exactly (Shewchuk's Grow-Expansion, zero components dropped).
    void Add(double b)
    {
        double q = b;
        int k = 0;
        for (int i = 0; i < n; ++i) {
            const double x = q + c[i];
            const double bv = x - q;
            const double av = x - bv;
            const double err = (q - av) + (c[i] - bv);
            q = x;
            if (err != 0.0)
                c[k++] = err;
        }
        if (q != 0.0 || k == 0)
            c[k++] = q;
        n = k;
    }
    int Sign() const { return n == 0 ? 0 : (c[n - 1] > 0.0) - (c[n - 1] < 0.0); }
};

// Adds s * p * q * r exactly, s = +-1, for float coordinates. p * q has at
// most 48 significant bits and is exact in double; split into two halves of
// at most 26 bits (Veltkamp), each times the 24-bit r is exact again.
inline void AddProduct3(Expansion& e, double s, float p, float q, float r)
{
    const double pq = double(p) * double(q);
    const double big = 134217729.0 * pq; // 2^27 + 1
    const double hi = big - (big - pq);
    const double lo = pq - hi;
    e.Add(s * hi * double(r));
    e.Add(s * lo * double(r));
}

// det[p; q; r] of three points, exactly, into e (times s).
inline void AddDet3(Expansion& e, double s, const glm::vec3& p, const glm::vec3& q, const glm::vec3& r)
{
    AddProduct3(e, s, p.x, q.y, r.z);
    AddProduct3(e, -s, p.x, q.z, r.y);
    AddProduct3(e, s, p.y, q.z, r.x);
    AddProduct3(e, -s, p.y, q.x, r.z);
    AddProduct3(e, s, p.z, q.x, r.y);
    AddProduct3(e, -s, p.z, q.y, r.x);
}

inline int SignOf(double v) { return (v > 0.0) - (v < 0.0); }

// The two kept coordinates of a point projected along `drop`, cyclic.
inline void Project(const glm::vec3& p, int drop, float& u, float& v)
{
    u = p[(drop + 1) % 3];
    v = p[(drop + 2) % 3];
}

} // namespace

int ExactPredicates::Orient3d(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, const glm::vec3& d)
{
    const double adx = double(a.x) - d.x, ady = double(a.y) - d.y, adz = double(a.z) - d.z;
    const double bdx = double(b.x) - d.x, bdy = double(b.y) - d.y, bdz = double(b.z) - d.z;
    const double cdx = double(c.x) - d.x, cdy = double(c.y) - d.y, cdz = double(c.z) - d.z;
    const double bdxcdy = bdx * cdy, cdxbdy = cdx * bdy;
    const double cdxady = cdx * ady, adxcdy = adx * cdy;
    const double adxbdy = adx * bdy, bdxady = bdx * ady;
    const double det = adz * (bdxcdy - cdxbdy) + bdz * (cdxady - adxcdy) + cdz * (adxbdy - bdxady);
    const double permanent = (std::fabs(bdxcdy) + std::fabs(cdxbdy)) * std::fabs(adz) +
                             (std::fabs(cdxady) + std::fabs(adxcdy)) * std::fabs(bdz) +
                             (std::fabs(adxbdy) + std::fabs(bdxady)) * std::fabs(cdz);
    const double bound = kOrient3dBound * permanent;
    if (det > bound || -det > bound)
        return SignOf(det);

    // det[a - d; b - d; c - d] = det[a; b; c] - det[d; b; c] - det[a; d; c] - det[a; b; d]
    // (terms with d in two rows vanish): 24 products of three coordinates.
    Expansion e;
    AddDet3(e, 1.0, a, b, c);
    AddDet3(e, -1.0, d, b, c);
    AddDet3(e, -1.0, a, d, c);
    AddDet3(e, -1.0, a, b, d);
    return e.Sign();
}

int ExactPredicates::Orient2d(const glm::vec3& a, const glm::vec3& b, const glm::vec3& c, int drop)
{
    float au, av, bu, bv, cu, cv;
    Project(a, drop, au, av);
    Project(b, drop, bu, bv);
    Project(c, drop, cu, cv);
    // (b - a) x (c - a) = (a - c) x (b - c)
    const double left = (double(au) - cu) * (double(bv) - cv);
    const double right = (double(av) - cv) * (double(bu) - cu);
    const double det = left - right;
    const double bound = kOrient2dBound * (std::fabs(left) + std::fabs(right));
    if (det > bound || -det > bound)
        return SignOf(det);

    // det[a - c; b - c] = det[a; b] - det[c; b] - det[a; c]; products of two
    // floats are exact in double.
    Expansion e;
    e.Add(double(au) * bv);
    e.Add(-double(av) * bu);
    e.Add(-(double(cu) * bv));
    e.Add(double(cv) * bu);
    e.Add(-(double(au) * cv));
    e.Add(double(av) * cu);
    return e.Sign();
}

} // namespace orvcore
