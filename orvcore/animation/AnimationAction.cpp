#include <orvcore/animation/AnimationAction.h>

#include <cmath>

#include <orvcommon/Logger.h>
#include <orvcore/animation/AnimationMixer.h>

namespace orvcore {

AnimationAction::AnimationAction(AnimationMixer* mixer, const std::shared_ptr<AnimationClip>& clip)
    : m_BlendMode(clip ? clip->GetBlendMode() : ANIMATION_BLEND_NORMAL), m_Mixer(mixer), m_Clip(clip)
{
    if (!clip)
        return;
    const auto& tracks = clip->GetTracks();
    m_PropertyBindings.resize(tracks.size());
    m_Interpolants.reserve(tracks.size());
    for (const auto& track : tracks)
        m_Interpolants.push_back(track ? track->CreateInterpolant(nullptr) : nullptr);
    m_PlayLength = clip->GetPlayDuration();
}

AnimationAction::~AnimationAction() = default;

void AnimationAction::SetDuration(float d)
{
    m_TimeScale = (m_Clip ? m_Clip->GetDuration() : -1.0f) / d;
    StopWarping();
}

void AnimationAction::StopWarping()
{
    if (!m_TimeScaleInterpolant)
        return;
    auto interpolant = m_TimeScaleInterpolant;
    m_TimeScaleInterpolant.reset();
    if (m_Mixer)
        m_Mixer->TakeBackControlInterpolant(interpolant);
}

void AnimationAction::SetBinding(unsigned int index, const std::shared_ptr<PropertyMixer>& mixer)
{
    if (index < m_PropertyBindings.size()) {
        Logger::Instance().Waring("Index is out of range!");
        return;
    }
    m_PropertyBindings.resize(static_cast<std::size_t>(index) + 1);
    m_PropertyBindings[index] = mixer;
}

std::shared_ptr<ShapeSceneNode> AnimationAction::GetRoot() const
{
    return m_Mixer ? m_Mixer->GetRoot() : nullptr;
}

void AnimationAction::SetTime(float t)
{
    if (!std::isfinite(t)) {
        Logger::Instance().Waring("Animation time is not finite!");
        return;
    }
    Rewind();
    Step(t);
}

void AnimationAction::Rewind()
{
    if (m_Finished && !m_ClampWhenFinished)
        m_Enabled = true; // undo what finishing did, not what the caller did
    m_Time = 0.0f;
    m_Passes = 0;
    m_Finished = false;
}

float AnimationAction::GetClipTime() const
{
    if (m_LoopMode == LOOP_PINGPONG && m_Time > m_PlayLength)
        return std::fmax(2.0f * m_PlayLength - m_Time, 0.0f);
    return m_Time;
}

void AnimationAction::SetWeight(float weight)
{
    if (!(weight >= 0.0f) || !std::isfinite(weight)) {
        Logger::Instance().Waring("Animation weight is invalid!");
        return;
    }
    m_Weight = weight;
}

void AnimationAction::SetLoop(EnumAnimationLoopMode mode, uint32_t repetitions)
{
    if (mode != LOOP_ONCE && mode != LOOP_REPEAT && mode != LOOP_PINGPONG) {
        Logger::Instance().Waring("Loop mode is invalid!");
        return;
    }
    m_LoopMode = mode;
    m_Repetitions = repetitions;
}

void AnimationAction::Reset()
{
    m_Time = 0.0f;
    m_Passes = 0;
    m_Finished = false;
    m_Enabled = true;
}

void AnimationAction::Advance(float delta)
{
    if (m_Paused || m_Finished)
        return;
    const double dt = static_cast<double>(delta) * m_TimeScale;
    if (dt != 0.0 && std::isfinite(dt))
        Step(dt);
}

void AnimationAction::Step(double dt)
{
    const double length = m_PlayLength;
    double t = static_cast<double>(m_Time) + dt;
    if (!(length > 0.0)) {
        // Nothing to play through: the time stays at the only pose.
        m_Time = 0.0f;
        if (m_LoopMode == LOOP_ONCE)
            Finish();
        return;
    }
    if (m_LoopMode == LOOP_ONCE) {
        if (t >= length || (t <= 0.0 && dt < 0.0)) {
            m_Time = t >= length ? static_cast<float>(length) : 0.0f;
            Finish();
        } else {
            m_Time = static_cast<float>(std::fmax(t, 0.0));
        }
        return;
    }
    const double period = m_LoopMode == LOOP_PINGPONG ? 2.0 * length : length;
    if (t >= period || t < 0.0) {
        const double k = std::floor(t / period);
        const double passes = std::fabs(k);
        const uint32_t left = kInfiniteRepetitions - m_Passes;
        m_Passes =
            passes >= static_cast<double>(left) ? kInfiniteRepetitions : m_Passes + static_cast<uint32_t>(passes);
        if (m_Repetitions != kInfiniteRepetitions && m_Passes >= m_Repetitions) {
            // The last pass ends where it ran to: the end going forwards,
            // the start going backwards.
            m_Time = dt > 0.0 ? static_cast<float>(period) : 0.0f;
            Finish();
            return;
        }
        t -= k * period;
        if (t >= period || t < 0.0)
            t = 0.0;
    }
    m_Time = static_cast<float>(t);
}

void AnimationAction::Finish()
{
    m_Finished = true;
    if (!m_ClampWhenFinished)
        m_Enabled = false;
}

AnimationAction* AnimationAction::Cast(GfxObject* object) { return dynamic_cast<AnimationAction*>(object); }
const AnimationAction* AnimationAction::Cast(const GfxObject* object)
{
    return dynamic_cast<const AnimationAction*>(object);
}

} // namespace orvcore
