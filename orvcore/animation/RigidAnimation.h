#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <orvcore/animation/Animation.h>
#include <orvcore/animation/RigidAnimationClip.h>

namespace orvcore {

/// A self-timed list of node clips (move, rotate, matrix, material) played
/// against a steady clock: call `Play` once per frame and redraw while it
/// returns true.
///
/// The first `Play` of a run records the start instant and resets every
/// clip; later calls play every enabled clip at the seconds elapsed since
/// (`Duration`). The run ends on the call that finds no clip enabled (false
/// is returned and the animation disables itself); with `Loop` set the next
/// call starts a new run. `Paused` freezes it, while the clock runs on.
///
/// `PlayAt(seconds)` is the same step with the given time in place of the
/// clock's, for offline rendering and tests; a run is driven by one or the
/// other.
class RigidAnimation : public Animation {
public:
    RigidAnimation() = default;
    ~RigidAnimation() override;

    /// Appends a clip; a null one logs "Clip is null!" and is ignored.
    void Add(const std::shared_ptr<RigidAnimationClip>& clip);
    const std::vector<std::shared_ptr<RigidAnimationClip>>& GetClips() const { return m_Clips; }
    void SetClips(const std::vector<std::shared_ptr<RigidAnimationClip>>& clips) { m_Clips = clips; }
    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }

    /// One step at the steady clock's time; the argument is ignored.
    bool Play(float time) override;
    /// One step at `seconds` of an explicit timeline (its runs start at the
    /// time of their first step). A non-finite time logs "Animation time is
    /// not finite!" and returns false.
    bool PlayAt(double seconds);
    /// Re-enables and resets every clip and the animation; the running time
    /// is kept.
    void Reset() override;

    static RigidAnimation* Cast(Animation* animation);
    static const RigidAnimation* Cast(const Animation* animation);

private:
    bool Step(int64_t nowNanoseconds);

    std::string m_Name;
    std::vector<std::shared_ptr<RigidAnimationClip>> m_Clips;
    int64_t m_StartNanoseconds = 0;
};

} // namespace orvcore
