#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <orvkernel/animation/Interpolant.h>
#include <orvkernel/device/GfxObject.h>
#include <orvcore/animation/AnimationClip.h>
#include <orvcore/animation/PropertyMixer.h>

namespace orvcore {

class AnimationMixer;
class ShapeSceneNode;

/// What an action does when it reaches the end of its clip.
enum EnumAnimationLoopMode : uint32_t {
    LOOP_ONCE = 0,     ///< stop at the end
    LOOP_REPEAT = 1,   ///< start again from the beginning
    LOOP_PINGPONG = 2, ///< play backwards to the beginning, then forwards again
};

/// The playing state of one clip on one mixer: time, speed, weight, loop.
///
/// Made by `AnimationMixer::ClipAction`; it plays once the mixer activates
/// it (`AnimationMixer::ActivateAction`) and stops when the mixer
/// deactivates it. `Play()` itself does nothing.
///
/// The action's own time runs from 0 to the clip's play length (see
/// `AnimationClip::GetPlayDuration`) at `TimeScale` times the mixer's time.
/// At the end a `LOOP_ONCE` action finishes; a looping one starts its next
/// pass, and finishes once it has played `Repetitions` passes (a ping-pong
/// pass is there and back again). A finished action stays at its last pose
/// when `ClampWhenFinished` is set; otherwise it disables itself and stops
/// contributing, so its properties return to their rest values.
class AnimationAction : public GfxObject {
public:
    static constexpr uint32_t kInfiniteRepetitions = std::numeric_limits<uint32_t>::max();

    /// One null binding slot and one interpolant per track of the clip.
    AnimationAction(AnimationMixer* mixer, const std::shared_ptr<AnimationClip>& clip);
    ~AnimationAction() override;

    /// Does nothing: actions play while their mixer has them activated.
    void Play() {}
    /// TimeScale = clip duration / d (no guard: 0 gives an infinite scale,
    /// which the mixer does not advance by), then `StopWarping`.
    void SetDuration(float d);
    /// Hands a lent time-scale interpolant back to the mixer.
    void StopWarping();
    /// Stores a property mixer for track `index`. The test is inverted: an
    /// index inside the list logs "Index is out of range!" and stores
    /// nothing; only an index at or past the end grows the list and stores.
    void SetBinding(unsigned int index, const std::shared_ptr<PropertyMixer>& mixer);
    /// The mixer's root node.
    std::shared_ptr<ShapeSceneNode> GetRoot() const;

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    AnimationMixer* GetMixer() const { return m_Mixer; }
    const std::shared_ptr<AnimationClip>& GetClip() const { return m_Clip; }
    EnumAnimationBlendMode GetBlendMode() const { return m_BlendMode; }
    const std::vector<std::shared_ptr<PropertyMixer>>& GetPropertyBindings() const { return m_PropertyBindings; }
    const std::vector<std::shared_ptr<Interpolant>>& GetInterpolants() const { return m_Interpolants; }
    bool GetEnabled() const { return m_Enabled; }
    void SetEnabled(bool enabled) { m_Enabled = enabled; }
    bool GetPaused() const { return m_Paused; }
    void SetPaused(bool paused) { m_Paused = paused; }
    float GetTimeScale() const { return m_TimeScale; }
    void SetTimeScale(float scale) { m_TimeScale = scale; }
    const std::shared_ptr<Interpolant>& GetTimeScaleInterpolant() const { return m_TimeScaleInterpolant; }
    void SetTimeScaleInterpolant(const std::shared_ptr<Interpolant>& interpolant)
    {
        m_TimeScaleInterpolant = interpolant;
    }
    int32_t GetCacheIndex() const { return m_CacheIndex; }
    void SetCacheIndex(int32_t index) { m_CacheIndex = index; }
    int32_t GetByClipCacheIndex() const { return m_ByClipCacheIndex; }
    void SetByClipCacheIndex(int32_t index) { m_ByClipCacheIndex = index; }

    /// The action's own time in seconds (a ping-pong action counts on past
    /// the clip's end while it plays backwards: up to twice the length).
    float GetTime() const { return m_Time; }
    /// Jumps to time `t` from the start of the first pass (loops and
    /// finishing apply as if played there); a non-finite `t` logs
    /// "Animation time is not finite!" and is ignored.
    void SetTime(float t);
    /// The time in the clip that is sampled: the time folded back for the
    /// backward half of a ping-pong pass.
    float GetClipTime() const;
    float GetWeight() const { return m_Weight; }
    /// A negative or non-finite weight logs "Animation weight is invalid!"
    /// and is ignored.
    void SetWeight(float weight);
    EnumAnimationLoopMode GetLoopMode() const { return m_LoopMode; }
    uint32_t GetRepetitions() const { return m_Repetitions; }
    /// Default: repeat forever.
    void SetLoop(EnumAnimationLoopMode mode, uint32_t repetitions = kInfiniteRepetitions);
    bool GetClampWhenFinished() const { return m_ClampWhenFinished; }
    void SetClampWhenFinished(bool clamp) { m_ClampWhenFinished = clamp; }
    bool IsFinished() const { return m_Finished; }
    /// Back to the start: time 0, no pass played, enabled, not finished.
    void Reset();

    static AnimationAction* Cast(GfxObject* object);
    static const AnimationAction* Cast(const GfxObject* object);

private:
    friend class AnimationMixer;

    /// One track the mixer plays: its interpolant and the property it drives.
    struct Channel {
        Interpolant* interpolant;
        uint32_t target;
    };

    /// Moves the time by `delta` mixer seconds (times TimeScale) unless the
    /// action is paused or finished.
    void Advance(float delta);
    void Step(double dt);
    void Finish();
    /// Time 0, no pass played, not finished (re-enabled if finishing had
    /// disabled it).
    void Rewind();

    // Playback state, read by every mixer update: first, in the object's
    // first cache lines.
    std::vector<Channel> m_Channels;
    float m_Time = 0.0f;
    float m_Weight = 1.0f;
    float m_TimeScale = 1.0f;
    float m_PlayLength = 0.0f;
    EnumAnimationLoopMode m_LoopMode = LOOP_REPEAT;
    uint32_t m_Repetitions = kInfiniteRepetitions;
    uint32_t m_Passes = 0;
    EnumAnimationBlendMode m_BlendMode;
    bool m_Enabled = true;
    bool m_Paused = false;
    bool m_ClampWhenFinished = false;
    bool m_Finished = false;
    bool m_Resolved = false;
    int32_t m_PlayingSlot = -1;

    std::string m_Name;
    AnimationMixer* m_Mixer;
    std::shared_ptr<AnimationClip> m_Clip;
    std::vector<std::shared_ptr<PropertyMixer>> m_PropertyBindings;
    std::vector<std::shared_ptr<Interpolant>> m_Interpolants;
    std::shared_ptr<Interpolant> m_TimeScaleInterpolant;
    int32_t m_CacheIndex = -1;
    int32_t m_ByClipCacheIndex = -1;
};

} // namespace orvcore
