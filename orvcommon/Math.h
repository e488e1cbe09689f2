#pragma once

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

    /// 0xRRGGBB to a colour with components in [0, 1]. Bits above 24 are ignored.
    static glm::vec3 colorFromHex(uint32_t hex);
};

} // namespace orvcore
