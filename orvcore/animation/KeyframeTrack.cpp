#include <orvcore/animation/KeyframeTrack.h>

#include <cmath>
#include <cstddef>

#include <orvkernel/animation/LinearInterpolant.h>

namespace orvcore {

KeyframeTrack::KeyframeTrack(const std::string& name, const std::shared_ptr<Float32Buffer>& times,
                             const std::shared_ptr<Float32Buffer>& values, EnumInterpolationModes mode)
    : m_Name(name), m_Times(times), m_Values(values), m_InterpolationMode(mode)
{
}

KeyframeTrack::~KeyframeTrack() = default;

unsigned int KeyframeTrack::GetValueSize() const
{
    if (!m_Times || !m_Values || m_Times->GetCount() == 0)
        return 0;
    return static_cast<unsigned int>(m_Values->GetCount() / m_Times->GetCount());
}

std::shared_ptr<Interpolant> KeyframeTrack::CreateInterpolant(const std::shared_ptr<Float32Buffer>& result)
{
    if (!m_Times || m_Times->GetCount() == 0)
        return nullptr;
    return std::make_shared<LinearInterpolant>(m_Times, m_Values, GetValueSize(), result);
}

void KeyframeTrack::Scale(float factor)
{
    if (!(std::fabs(factor) > 0.0f) || !m_Times)
        return;
    const std::size_t count = m_Times->GetCount();
    float* times = m_Times->GetData();
    for (std::size_t i = 0; i < count; ++i)
        times[i] *= factor;
}

void KeyframeTrack::Shift(float offset)
{
    if (!(std::fabs(offset) > 0.0f) || !m_Times)
        return;
    const std::size_t count = m_Times->GetCount();
    float* times = m_Times->GetData();
    for (std::size_t i = 0; i < count; ++i)
        times[i] += offset;
}

KeyframeTrack* KeyframeTrack::Cast(GfxObject* object) { return dynamic_cast<KeyframeTrack*>(object); }
const KeyframeTrack* KeyframeTrack::Cast(const GfxObject* object) { return dynamic_cast<const KeyframeTrack*>(object); }

} // namespace orvcore
