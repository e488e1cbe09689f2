#include <orvkernel/animation/LinearInterpolant.h>

namespace orvcore {

LinearInterpolant::LinearInterpolant(const std::shared_ptr<Float32Buffer>& times,
                                     const std::shared_ptr<Float32Buffer>& values, unsigned int valueSize,
                                     const std::shared_ptr<Float32Buffer>& result)
    : Interpolant(times, values, valueSize, result)
{
}

void LinearInterpolant::Compute(unsigned int /*i1*/, float t0, float t, float t1)
{
    const unsigned int size = m_ValueSize;
    const float* a = m_Key0;
    const float* b = a + size;
    float* out = m_Output;
    const float alpha = (t - t0) / (t1 - t0);
    for (unsigned int i = 0; i < size; ++i)
        out[i] = a[i] + (b[i] - a[i]) * alpha;
}

LinearInterpolant* LinearInterpolant::Cast(Interpolant* interpolant)
{
    return dynamic_cast<LinearInterpolant*>(interpolant);
}

const LinearInterpolant* LinearInterpolant::Cast(const Interpolant* interpolant)
{
    return dynamic_cast<const LinearInterpolant*>(interpolant);
}

} // namespace orvcore
