#include <orvcore/animation/AnimationClip.h>

#include <cmath>
#include <cstddef>

#include <orvcommon/Logger.h>

namespace orvcore {

AnimationClip::~AnimationClip() = default;

void AnimationClip::AddTrack(const std::shared_ptr<KeyframeTrack>& track)
{
    if (!track) {
        Logger::Instance().Waring("Keyframe is nulL!");
        return;
    }
    m_Tracks.push_back(track);
}

float AnimationClip::GetPlayDuration() const
{
    if (m_Duration >= 0.0f && std::isfinite(m_Duration))
        return m_Duration;
    float latest = 0.0f;
    for (const auto& track : m_Tracks) {
        const auto& times = track->GetTimes();
        if (!times)
            continue;
        for (std::size_t i = 0; i < times->GetCount(); ++i) {
            const float t = times->Get(static_cast<unsigned int>(i));
            if (std::isfinite(t) && t > latest)
                latest = t;
        }
    }
    return latest;
}

AnimationClip* AnimationClip::Cast(GfxObject* object) { return dynamic_cast<AnimationClip*>(object); }
const AnimationClip* AnimationClip::Cast(const GfxObject* object) { return dynamic_cast<const AnimationClip*>(object); }

} // namespace orvcore
