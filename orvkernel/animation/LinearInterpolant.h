#pragma once

#include <orvkernel/animation/Interpolant.h>

namespace orvcore {

/// Linear interpolation of every component between two keys:
/// v = v0 + (v1 - v0) * (t - t0) / (t1 - t0).
class LinearInterpolant : public Interpolant {
public:
    LinearInterpolant(const std::shared_ptr<Float32Buffer>& times, const std::shared_ptr<Float32Buffer>& values,
                      unsigned int valueSize, const std::shared_ptr<Float32Buffer>& result);

    void Compute(unsigned int i1, float t0, float t, float t1) override;

    static LinearInterpolant* Cast(Interpolant* interpolant);
    static const LinearInterpolant* Cast(const Interpolant* interpolant);
};

} // namespace orvcore
