#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <glm/mat4x4.hpp>

#include <orvcore/animation/AnimationMixer.h>
#include <orvcore/animation/RigidAnimation.h>

namespace orvcore {
class SceneManager;
class SceneNode;
} // namespace orvcore

namespace orvrender {

/// The animations of a scene file (its "animations", docs/scene-format.md).
struct SceneAnimations {
    /// The keyframe clips, one playing action each, on the file's named nodes.
    std::shared_ptr<orvcore::AnimationMixer> mixer;
    std::vector<std::shared_ptr<orvcore::AnimationAction>> actions;
    /// The rigid clips (null without any), and the transforms of the nodes
    /// they drive as loaded, from which every replay starts.
    std::shared_ptr<orvcore::RigidAnimation> rigid;
    std::vector<std::pair<std::shared_ptr<orvcore::SceneNode>, glm::mat4>> rigidNodes;
    /// The latest end of a rigid clip.
    double rigidLength = 0.0;
    /// Seconds until the last clip has played once.
    double length = 0.0;
};

/// Poses a scene at animation times. Keyframe clips are set to the time
/// directly (`AnimationMixer::SetTime`). Rigid clips take the node's state
/// when they start, so they are stepped from time 0 at a fixed rate with the
/// world brought up to date between steps, as a viewer would play them; a
/// time before the last one replays them from the loaded state.
class AnimationPlayer {
public:
    AnimationPlayer(std::shared_ptr<SceneAnimations> animations, orvcore::SceneManager& manager,
                    double stepsPerSecond = 60.0);

    /// The scene as it is `seconds` into the animations (world updated).
    /// Rigid clips that do not loop are stepped no further than their end;
    /// looping ones at most a million steps per call.
    void SeekTo(double seconds);

private:
    void RestartRigid();

    std::shared_ptr<SceneAnimations> m_Animations;
    orvcore::SceneManager& m_Manager;
    double m_Step;
    double m_RigidTime = -1.0; // time of the last rigid step; -1 before the first
};

} // namespace orvrender
