#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvcore/animation/Animation.h>
#include <orvcore/robot/RobotAnimationClip.h>

namespace orvcore {

class RobotArm;

/// A joint-space motion of one arm: per joint a queue of ramps
/// (`RobotAnimationClip`) played one after another, the joints side by
/// side, against a steady clock. Call `Play` once per frame and redraw
/// while it returns true; every step that moved a joint recomputes the
/// arm's frames.
///
/// The first step of a run records the start instant and puts every
/// joint's cursor on its first clip; later steps play the clip under each
/// cursor at the seconds elapsed since (`Duration`), and move a cursor on
/// when its clip has ended (the next clip plays from the next step). A clip
/// whose start has not come holds its joint still. The run ends on the step
/// that finds every cursor past its queue (false is returned and the
/// animation disables itself); with `Loop` set the next step resets and
/// starts a new run. `Paused` freezes it while the clock runs on.
///
/// `PlayAt(seconds)` is the same step with the given time in place of the
/// clock's, for offline rendering and tests; a run is driven by one or the
/// other.
class RobotAnimation : public Animation {
public:
    RobotAnimation();
    explicit RobotAnimation(const std::shared_ptr<RobotArm>& arm);
    ~RobotAnimation() override;

    const std::shared_ptr<RobotArm>& GetArm() const { return m_Arm; }
    void SetArm(const std::shared_ptr<RobotArm>& arm) { m_Arm = arm; }
    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }

    /// Appends the clip to its joint's queue; a null clip logs "Clip is
    /// null!".
    void AddClip(const std::shared_ptr<RobotAnimationClip>& clip);
    /// Removes the clip from its joint's queue; false when it is not there.
    bool RemoveClip(const std::shared_ptr<RobotAnimationClip>& clip);
    /// Clip i of a joint's queue: null when the joint has none, "Out of
    /// range!" and null past the queue's end.
    std::shared_ptr<RobotAnimationClip> GetClip(unsigned int joint, unsigned int i) const;
    unsigned int GetClipCountOfJoint(unsigned int joint) const;

    /// One step at the steady clock's time; the argument is ignored.
    bool Play(float time) override;
    /// One step at `seconds` of an explicit timeline. A non-finite time logs
    /// "Animation time is not finite!" and returns false.
    bool PlayAt(double seconds);
    /// Re-enables every clip and the animation, forgets the running time and
    /// makes the arm's current pose its rest pose (`ResetInitialState`).
    void Reset() override;

    static RobotAnimation* Cast(Animation* animation);
    static const RobotAnimation* Cast(const Animation* animation);

private:
    bool Step(int64_t nowNanoseconds);

    std::string m_Name;
    std::shared_ptr<RobotArm> m_Arm;
    std::unordered_map<uint32_t, std::vector<std::shared_ptr<RobotAnimationClip>>> m_ClipsByJoint;
    std::unordered_map<uint32_t, uint32_t> m_CursorByJoint;
    int64_t m_StartNanoseconds = 0;
};

} // namespace orvcore
