#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <orvkernel/animation/Interpolant.h>
#include <orvkernel/device/GfxObject.h>
#include <orvcore/animation/AnimationAction.h>
#include <orvcore/animation/AnimationClip.h>
#include <orvcore/animation/PropertyMixer.h>
#include <orvcore/animation/PropertyTarget.h>

namespace orvcore {

class SceneNode;
class ShapeSceneNode;

/// Plays keyframe clips on one root node and on named nodes.
///
/// `ClipAction` makes a new action for a clip (every call a new one);
/// `ActivateAction` starts it and `DeactivateAction` stops it; `Update(dt)`
/// (or `SetTime(t)`) advances every playing action, blends what they
/// contribute to each property and writes the results to the nodes, each
/// written node followed by `RequstUpdate`. The host then brings the world
/// up to date as usual.
///
/// A track's name is its property path: the property alone drives the
/// root ("position"), a node name before it drives the node registered
/// under that name with `AddNamedNode` ("lid.position"). Properties:
/// "position", "quaternion" (x, y, z, w), "scale", "matrix" (16, column-
/// major), "visible" (visible from 0.5 up), "material.color",
/// "material.opacity" (the materials of the node's triangle primitives, or
/// of all its primitives when it has none; a group's over its subtree).
/// Paths are resolved once, when an action is first activated; a path that
/// names no node or property, or a track of the wrong value size, logs a
/// warning once per path and is skipped.
///
/// Beside its playback the mixer keeps the action, binding and
/// control-interpolant lists of the interface, partitioned into an active
/// front and an inactive back (see the member functions). Binding an action
/// makes one property mixer per track, which `SetBinding`'s inverted range
/// test leaves out of the action's slots; playback blends in property
/// mixers of its own, one per node property, shared by every action that
/// drives it.
class AnimationMixer : public GfxObject {
public:
    struct ClipActions {
        std::vector<std::shared_ptr<AnimationAction>> KnownActions;
        std::unordered_map<uint32_t, std::shared_ptr<AnimationAction>> ActionByRoot;
    };

    explicit AnimationMixer(const std::shared_ptr<ShapeSceneNode>& root);
    ~AnimationMixer() override;

    /// A new action for the clip, bound and appended to the action list (it
    /// has no slot yet: cache index -1). A null clip logs "Clip is null!".
    std::shared_ptr<AnimationAction> ClipAction(const std::shared_ptr<AnimationClip>& clip);
    /// Moves the action into the active front of the list (binding it first
    /// when it has no slot) and starts playing it.
    void ActivateAction(const std::shared_ptr<AnimationAction>& action);
    /// Whether the action's slot lies in the active front.
    bool IsActiveAction(const std::shared_ptr<AnimationAction>& action) const;
    /// Stops playing the action and moves it behind the active front. Its
    /// properties keep the values last written.
    void DeactivateAction(const std::shared_ptr<AnimationAction>& action);
    /// Returns a lent control interpolant to the free back of its list.
    void TakeBackControlInterpolant(const std::shared_ptr<Interpolant>& interpolant);

    /// Registers a node for paths that start with `name`. An empty name or
    /// a null node logs "Node is null!" and returns false.
    bool AddNamedNode(const std::string& name, const std::shared_ptr<SceneNode>& node);
    std::shared_ptr<SceneNode> FindNamedNode(const std::string& name) const;

    /// Advances every playing action by `delta` seconds (times its scale)
    /// and writes the blended values. A non-finite delta logs "Animation
    /// time is not finite!" and changes nothing.
    void Update(float delta);
    /// Plays every playing action from its start to `seconds` (loops and
    /// ends as they fall) and writes the values: the scene as it is at that
    /// time, whatever was played before.
    void SetTime(float seconds);
    /// Seconds played since construction or the last `SetTime`.
    float GetTime() const { return m_Time; }

    const std::string& GetName() const { return m_Name; }
    void SetName(const std::string& name) { m_Name = name; }
    const std::shared_ptr<ShapeSceneNode>& GetRoot() const { return m_Root; }
    void SetRoot(const std::shared_ptr<ShapeSceneNode>& root) { m_Root = root; }
    const std::vector<std::shared_ptr<AnimationAction>>& GetActions() const { return m_Actions; }
    void SetActions(const std::vector<std::shared_ptr<AnimationAction>>& actions) { m_Actions = actions; }
    const std::vector<std::shared_ptr<PropertyMixer>>& GetBindings() const { return m_Bindings; }
    void SetBindings(const std::vector<std::shared_ptr<PropertyMixer>>& bindings) { m_Bindings = bindings; }
    const std::vector<std::shared_ptr<Interpolant>>& GetControlInterpolants() const { return m_ControlInterpolants; }
    void SetControlInterpolants(const std::vector<std::shared_ptr<Interpolant>>& interpolants)
    {
        m_ControlInterpolants = interpolants;
    }
    uint32_t GetInactiveBindingMark() const { return m_InactiveBindingMark; }
    uint32_t GetActiveControlInterpolantCount() const { return m_ActiveControlInterpolantCount; }
    void SetActiveControlInterpolantCount(uint32_t count) { m_ActiveControlInterpolantCount = count; }
    uint32_t GetActiveActionCount() const { return m_ActiveActionCount; }
    uint32_t GetActiveBindingCount() const { return m_ActiveBindingCount; }
    const std::unordered_map<uint32_t, ClipActions>& GetActionsByClip() const { return m_ActionsByClip; }

    static AnimationMixer* Cast(GfxObject* object);
    static const AnimationMixer* Cast(const GfxObject* object);

protected:
    /// One new property binding and property mixer per track of the clip,
    /// appended to the binding list and offered to the action's slots.
    void BindAction(const std::shared_ptr<AnimationAction>& action);
    void AddInactiveAction(const std::shared_ptr<AnimationAction>& action, unsigned int clipId, unsigned int rootId);
    void AddInactiveBinding(const std::shared_ptr<PropertyMixer>& mixer, unsigned int rootId,
                            const std::string& trackName);
    void LendAction(const std::shared_ptr<AnimationAction>& action);
    void LendBinding(const std::shared_ptr<PropertyMixer>& mixer);

private:
    // Playback (AnimationMixerPlayback.cpp).
    void StartPlaying(const std::shared_ptr<AnimationAction>& action);
    void StopPlaying(AnimationAction& action);
    void Resolve(AnimationAction& action);
    /// The target of a path, made on first use; -1 (with a warning once per
    /// path) when the path cannot be played with `valueSize` floats.
    int64_t FindTarget(const std::string& path, unsigned int valueSize, const std::string& typeName);
    void Warn(const std::string& path, const char* what);
    /// Puts the target into the list of blended ones or takes it out, as
    /// its users now need.
    void Reclassify(uint32_t target);
    void Write();

    std::string m_Name;
    std::shared_ptr<ShapeSceneNode> m_Root;
    std::vector<std::shared_ptr<AnimationAction>> m_Actions;
    std::vector<std::shared_ptr<PropertyMixer>> m_Bindings;
    std::vector<std::shared_ptr<Interpolant>> m_ControlInterpolants;
    uint32_t m_InactiveBindingMark = 0;
    uint32_t m_ActiveControlInterpolantCount = 0;
    uint32_t m_ActiveActionCount = 0;
    uint32_t m_ActiveBindingCount = 0;
    std::unordered_map<uint32_t, ClipActions> m_ActionsByClip;

    float m_Time = 0.0f;
    std::vector<std::shared_ptr<AnimationAction>> m_Playing;
    std::vector<PropertyTarget> m_Targets;
    std::vector<uint32_t> m_SharedTargets; // playing targets that Apply blends
    std::vector<NodePose> m_Poses;
    std::map<std::pair<const SceneNode*, EnumAnimatedProperty>, uint32_t> m_TargetByProperty;
    std::unordered_map<const SceneNode*, uint32_t> m_PoseByNode;
    std::unordered_map<std::string, std::shared_ptr<SceneNode>> m_NamedNodes;
    std::set<std::string> m_ReportedPaths;
};

} // namespace orvcore
