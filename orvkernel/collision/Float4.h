#pragma once

#include <cmath>

#include <glm/vec3.hpp>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace orvcore {

/// Four floats operated on together: SSE where available, a plain array
/// otherwise (same results: every lane is one IEEE operation). The box tests
/// of the collision walk use lanes 0 to 2 for x, y, z (or for three axes)
/// and keep lane 3 at zero.
class Float4 {
public:
#if defined(__SSE2__)
    Float4() : m_V(_mm_setzero_ps()) {}
    static Float4 Splat(float f) { return Float4(_mm_set1_ps(f)); }
    /// x, y, z of a point, lane 3 zero.
    static Float4 Of(const glm::vec3& p) { return Float4(_mm_set_ps(0.0f, p.z, p.y, p.x)); }
    Float4 operator+(const Float4& o) const { return Float4(_mm_add_ps(m_V, o.m_V)); }
    Float4 operator-(const Float4& o) const { return Float4(_mm_sub_ps(m_V, o.m_V)); }
    Float4 operator*(const Float4& o) const { return Float4(_mm_mul_ps(m_V, o.m_V)); }
    Float4 Abs() const { return Float4(_mm_andnot_ps(_mm_set1_ps(-0.0f), m_V)); }
    /// Lane k in every lane.
    template <int k>
    Float4 Lane() const
    {
        return Float4(_mm_shuffle_ps(m_V, m_V, _MM_SHUFFLE(k, k, k, k)));
    }
    /// Lanes 0..2 turned by one (lane j takes lane j + 1 mod 3) or by two.
    Float4 Turn1() const { return Float4(_mm_shuffle_ps(m_V, m_V, _MM_SHUFFLE(3, 0, 2, 1))); }
    Float4 Turn2() const { return Float4(_mm_shuffle_ps(m_V, m_V, _MM_SHUFFLE(3, 1, 0, 2))); }
    /// Lane-wise a > b, as a mask; masks combine with `|` and are read by `Any`.
    static Float4 Greater(const Float4& a, const Float4& b) { return Float4(_mm_cmpgt_ps(a.m_V, b.m_V)); }
    Float4 operator|(const Float4& o) const { return Float4(_mm_or_ps(m_V, o.m_V)); }
    bool Any() const { return _mm_movemask_ps(m_V) != 0; }
    /// The rows a, b, c (lane 3 zero) as columns, in place.
    static void Transpose(Float4& a, Float4& b, Float4& c)
    {
        __m128 d = _mm_setzero_ps();
        _MM_TRANSPOSE4_PS(a.m_V, b.m_V, c.m_V, d);
    }

private:
    explicit Float4(__m128 v) : m_V(v) {}
    __m128 m_V;
#else
    Float4() : m_V{0.0f, 0.0f, 0.0f, 0.0f} {}
    static Float4 Splat(float f) { return Make(f, f, f, f); }
    static Float4 Of(const glm::vec3& p) { return Make(p.x, p.y, p.z, 0.0f); }
    Float4 operator+(const Float4& o) const { return Each(o, [](float a, float b) { return a + b; }); }
    Float4 operator-(const Float4& o) const { return Each(o, [](float a, float b) { return a - b; }); }
    Float4 operator*(const Float4& o) const { return Each(o, [](float a, float b) { return a * b; }); }
    Float4 Abs() const { return Each(*this, [](float a, float) { return std::fabs(a); }); }
    template <int k>
    Float4 Lane() const
    {
        return Splat(m_V[k]);
    }
    Float4 Turn1() const { return Make(m_V[1], m_V[2], m_V[0], m_V[3]); }
    Float4 Turn2() const { return Make(m_V[2], m_V[0], m_V[1], m_V[3]); }
    static Float4 Greater(const Float4& a, const Float4& b)
    {
        return a.Each(b, [](float x, float y) { return x > y ? 1.0f : 0.0f; });
    }
    Float4 operator|(const Float4& o) const
    {
        return Each(o, [](float a, float b) { return a != 0.0f || b != 0.0f ? 1.0f : 0.0f; });
    }
    bool Any() const { return m_V[0] != 0.0f || m_V[1] != 0.0f || m_V[2] != 0.0f || m_V[3] != 0.0f; }
    static void Transpose(Float4& a, Float4& b, Float4& c)
    {
        const Float4 r[3] = {a, b, c};
        a = Make(r[0].m_V[0], r[1].m_V[0], r[2].m_V[0], 0.0f);
        b = Make(r[0].m_V[1], r[1].m_V[1], r[2].m_V[1], 0.0f);
        c = Make(r[0].m_V[2], r[1].m_V[2], r[2].m_V[2], 0.0f);
    }

private:
    static Float4 Make(float x, float y, float z, float w)
    {
        Float4 f;
        f.m_V[0] = x, f.m_V[1] = y, f.m_V[2] = z, f.m_V[3] = w;
        return f;
    }
    template <typename Op>
    Float4 Each(const Float4& o, Op op) const
    {
        return Make(op(m_V[0], o.m_V[0]), op(m_V[1], o.m_V[1]), op(m_V[2], o.m_V[2]), op(m_V[3], o.m_V[3]));
    }
    float m_V[4];
#endif
};

} // namespace orvcore
