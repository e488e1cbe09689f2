#pragma once

#include <cmath>
#include <cstdint>

#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include <glm/mat4x4.hpp>
#include <glm/vec3.hpp>

namespace orvcore {

/// Maths helpers shared by the whole toolkit.
struct Math {
    static constexpr double PI = 3.14159265358979323846;
    static constexpr double TWO_PI = 2.0 * PI;

    static constexpr double DegreesToRadians(double degrees) { return degrees * (PI / 180.0); }
    static constexpr double RadiansToDegrees(double radians) { return radians * (180.0 / PI); }

    /// Classic Denavit-Hartenberg frame Rz(theta) * Tz(d) * Tx(a) * Rx(alpha):
    /// rotate about the previous z by theta, slide along it by d, slide along
    /// the new x by a, twist about the new x by alpha. Evaluated in double
    /// precision and rounded once.
    static glm::mat4 ComputeDH(double alpha, double a, double d, double theta);

    /// Sine and cosine of x together, in double precision (within about one
    /// unit in the last place of std::sin and std::cos), several times faster
    /// than the two library calls: one reduction by pi/2 and two short
    /// polynomials. Arguments beyond +-1e5 radians, infinities and NaN go to
    /// the library functions. Used where joint frames are rebuilt every frame.
    static inline void SinCos(double x, double& sine, double& cosine)
    {
        if (!(std::fabs(x) <= 1e5)) { // also NaN and the infinities
            sine = std::sin(x);
            cosine = std::cos(x);
            return;
        }
        // x = k * pi/2 + r with |r| <= pi/4. pi/2 is split in three parts of 33
        // significant bits each, so k * part is exact for |k| < 2^20 and r keeps
        // its full precision after the cancellation.
        constexpr double kTwoOverPi = 6.36619772367581382433e-01;
        constexpr double kPio2Hi = 1.57079632673412561417e+00;
        constexpr double kPio2Mid = 6.07710050630396597660e-11;
        constexpr double kPio2Lo = 2.02226624871116645580e-21;
        // Round to the nearest integer by adding and taking away 1.5 * 2^52 (no
        // library call without SSE4.1; the default rounding mode is assumed).
        constexpr double kRound = 6755399441055744.0;
        const double k = (x * kTwoOverPi + kRound) - kRound;
        const double r = ((x - k * kPio2Hi) - k * kPio2Mid) - k * kPio2Lo;
        const double z = r * r;
        // Minimax polynomials for sin and cos on [-pi/4, pi/4] (the classic
        // coefficients of the freely distributable maths library of the 1990s).
        const double s = r + r * z *
                                 (-1.66666666666666324348e-01 +
                                  z * (8.33333333332248946124e-03 +
                                       z * (-1.98412698298579493134e-04 +
                                            z * (2.75573137070700676789e-06 +
                                                 z * (-2.50507602534068634195e-08 + z * 1.58969099521155010221e-10)))));
        const double hz = 0.5 * z, w = 1.0 - hz;
        const double tail = z * z *
                            (4.16666666666666019037e-02 +
                             z * (-1.38888888888741095749e-03 +
                                  z * (2.48015872894767294178e-05 +
                                       z * (-2.75573143513906633035e-07 +
                                            z * (2.08757232129817482790e-09 + z * -1.13596475577881948265e-11)))));
        // 1 - z/2 loses the bits of z/2 below w's last place: add them back.
        const double c = w + (((1.0 - w) - hz) + tail);
        // Quadrant k mod 4: odd quadrants swap sine and cosine, and the signs
        // follow (+,+), (+,-), (-,-), (-,+). Selects rather than a switch: the
        // quadrant of a moving joint is not predictable.
        const long long q = static_cast<long long>(k);
        const double sv = (q & 1) ? c : s, cv = (q & 1) ? s : c;
        sine = (q & 2) ? -sv : sv;
        cosine = ((q + 1) & 2) ? -cv : cv;
    }

    /// Point transform (w = 1) with the perspective divide when w is not 1.
    static glm::vec3 transformVec3(const glm::mat4& matrix, const glm::vec3& point);
    /// Direction transform by the upper 3x3 block, normalised. A direction
    /// that maps to zero is returned as zero.
    static glm::vec3 transformDirection(const glm::mat4& matrix, const glm::vec3& direction);

    /// Transform that maps the unit segment (0,0,0)-(1,0,0) onto from-to: the
    /// x axis is scaled to the segment length and turned onto its direction,
    /// y and z stay unit and orthogonal. Equal points give a zero x axis.
    static glm::mat4 makeLineTransformX(const glm::vec3& from, const glm::vec3& to);

    /// out = a * b for column-major 4x4 matrices: the same product as glm's
    /// operator*, written as four column updates on SSE where available.
    /// Used by the per-node loops. `out` may alias neither input.
    static inline void Multiply(const glm::mat4& a, const glm::mat4& b, glm::mat4& out)
    {
        const float* pa = &a[0][0];
        const float* pb = &b[0][0];
        float* po = &out[0][0];
#if defined(__SSE__)
        const __m128 a0 = _mm_loadu_ps(pa), a1 = _mm_loadu_ps(pa + 4), a2 = _mm_loadu_ps(pa + 8),
                     a3 = _mm_loadu_ps(pa + 12);
        for (int c = 0; c < 4; ++c) {
            const float* col = pb + c * 4;
            __m128 r = _mm_mul_ps(a0, _mm_set1_ps(col[0]));
            r = _mm_add_ps(r, _mm_mul_ps(a1, _mm_set1_ps(col[1])));
            r = _mm_add_ps(r, _mm_mul_ps(a2, _mm_set1_ps(col[2])));
            r = _mm_add_ps(r, _mm_mul_ps(a3, _mm_set1_ps(col[3])));
            _mm_storeu_ps(po + c * 4, r);
        }
#else
        for (int c = 0; c < 4; ++c) {
            const float b0 = pb[c * 4], b1 = pb[c * 4 + 1], b2 = pb[c * 4 + 2], b3 = pb[c * 4 + 3];
            for (int r = 0; r < 4; ++r)
                po[c * 4 + r] = pa[r] * b0 + pa[4 + r] * b1 + pa[8 + r] * b2 + pa[12 + r] * b3;
        }
#endif
    }

    /// out = a * dh for a frame built like ComputeDH's: its first column has
    /// no z, its bottom row is (0, 0, 0, 1). The zero terms are skipped, so
    /// the sums are Multiply's in the same order and the result is the same
    /// for finite inputs (up to the sign of a zero). `out` may alias neither.
    static inline void MultiplyDH(const glm::mat4& a, const glm::mat4& dh, glm::mat4& out)
    {
#if defined(__SSE__)
        const float* pa = &a[0][0];
        const float* pb = &dh[0][0];
        float* po = &out[0][0];
        const __m128 a0 = _mm_loadu_ps(pa), a1 = _mm_loadu_ps(pa + 4), a2 = _mm_loadu_ps(pa + 8),
                     a3 = _mm_loadu_ps(pa + 12);
        const auto term = [](__m128 column, float factor) { return _mm_mul_ps(column, _mm_set1_ps(factor)); };
        _mm_storeu_ps(po, _mm_add_ps(term(a0, pb[0]), term(a1, pb[1])));
        _mm_storeu_ps(po + 4, _mm_add_ps(_mm_add_ps(term(a0, pb[4]), term(a1, pb[5])), term(a2, pb[6])));
        _mm_storeu_ps(po + 8, _mm_add_ps(_mm_add_ps(term(a0, pb[8]), term(a1, pb[9])), term(a2, pb[10])));
        _mm_storeu_ps(po + 12,
                      _mm_add_ps(_mm_add_ps(_mm_add_ps(term(a0, pb[12]), term(a1, pb[13])), term(a2, pb[14])), a3));
#else
        Multiply(a, dh, out);
#endif
    }

    /// 0xRRGGBB to a colour with components in [0, 1]. Bits above 24 are ignored.
    static glm::vec3 colorFromHex(uint32_t hex);
};

} // namespace orvcore
