#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvkernel/device/GfxObject.h>
#include <orvcore/animation/KeyframeTrack.h>

namespace orvcore {

/// How an action's values meet those of the other actions on a property.
enum EnumAnimationBlendMode : uint32_t {
    /// Weighted blend with the other normal actions (and the rest value
    /// where the weights add up to less than 1).
    ANIMATION_BLEND_NORMAL = 0,
    /// Added on top, times the weight: the track's values are offsets
    /// (quaternions: rotations applied after the blended one).
    ANIMATION_BLEND_ADDITIVE = 1,
};

/// A named list of keyframe tracks with a duration and a blend mode. Its
/// object id keys the mixer's caches. Actions made from it play it.
class AnimationClip : public GfxObject {
public:
    AnimationClip() = default;
    ~AnimationClip() override;

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    /// -1 (unset) until `SetDuration`; adding tracks does not change it.
    float GetDuration() const { return m_Duration; }
    void SetDuration(float duration) { m_Duration = duration; }
    EnumAnimationBlendMode GetBlendMode() const { return m_BlendMode; }
    void SetBlendMode(EnumAnimationBlendMode mode) { m_BlendMode = mode; }
    const std::vector<std::shared_ptr<KeyframeTrack>>& GetTracks() const { return m_Tracks; }

    /// Appends a track; a null one logs "Keyframe is nulL!" and is left out.
    void AddTrack(const std::shared_ptr<KeyframeTrack>& track);
    /// Does nothing: the duration stays what `SetDuration` set.
    void ResetDuration() {}

    /// The length an action plays: the duration when it is set (not
    /// negative), else the latest key time of the tracks (0 without keys).
    float GetPlayDuration() const;

    static AnimationClip* Cast(GfxObject* object);
    static const AnimationClip* Cast(const GfxObject* object);

private:
    std::string m_Name;
    std::vector<std::shared_ptr<KeyframeTrack>> m_Tracks;
    float m_Duration = -1.0f;
    EnumAnimationBlendMode m_BlendMode = ANIMATION_BLEND_NORMAL;
};

} // namespace orvcore
