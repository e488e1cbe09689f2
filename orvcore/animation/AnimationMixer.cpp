#include <orvcore/animation/AnimationMixer.h>

#include <orvcommon/Logger.h>
#include <orvcore/scene/ShapeSceneNode.h>

// The action, binding and control-interpolant lists. Playback is in
// AnimationMixerPlayback.cpp.

namespace orvcore {

namespace {

/// Moves `item` to slot `first` of `list` and the item there to `item`'s old
/// slot `prev`, updating both slots through `setSlot`. False (with the
/// warning) when either slot lies outside the list.
template <typename T, typename SetSlot>
bool Exchange(std::vector<std::shared_ptr<T>>& list, uint64_t first, uint64_t prev, const std::shared_ptr<T>& item,
              SetSlot setSlot)
{
    if (first >= list.size() || prev >= list.size()) {
        Logger::Instance().Waring("Index is out of range!");
        return false;
    }
    std::shared_ptr<T> other = list[first];
    list[prev] = other;
    if (other)
        setSlot(*other, prev);
    list[first] = item;
    setSlot(*item, first);
    return true;
}

} // namespace

AnimationMixer::AnimationMixer(const std::shared_ptr<ShapeSceneNode>& root) : m_Root(root) {}

AnimationMixer::~AnimationMixer() = default;

std::shared_ptr<AnimationAction> AnimationMixer::ClipAction(const std::shared_ptr<AnimationClip>& clip)
{
    if (!clip) {
        Logger::Instance().Waring("Clip is null!");
        return nullptr;
    }
    auto action = std::make_shared<AnimationAction>(this, clip);
    BindAction(action);
    m_Actions.push_back(action);
    return action;
}

void AnimationMixer::BindAction(const std::shared_ptr<AnimationAction>& action)
{
    const auto& clip = action->GetClip();
    if (!clip)
        return;
    const unsigned int rootId = m_Root ? m_Root->GetObjectId() : 0;
    const auto& tracks = clip->GetTracks();
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const KeyframeTrack& track = *tracks[i];
        auto binding = std::make_shared<PropertyBinding>(m_Root, track.GetName());
        auto mixer = PropertyMixer::Create(track.GetValueTypeName(), binding, track.GetValueSize());
        mixer->AddReferenceCount();
        AddInactiveBinding(mixer, rootId, track.GetName());
        action->SetBinding(static_cast<unsigned int>(i), mixer);
    }
}

void AnimationMixer::AddInactiveAction(const std::shared_ptr<AnimationAction>& action, unsigned int clipId,
                                       unsigned int rootId)
{
    ClipActions& entry = m_ActionsByClip[clipId];
    action->SetByClipCacheIndex(static_cast<int32_t>(entry.KnownActions.size()));
    entry.KnownActions.push_back(action);
    action->SetCacheIndex(static_cast<int32_t>(m_Actions.size()));
    m_Actions.push_back(action);
    entry.ActionByRoot[rootId] = action;
}

void AnimationMixer::AddInactiveBinding(const std::shared_ptr<PropertyMixer>& mixer, unsigned int /*rootId*/,
                                        const std::string& /*trackName*/)
{
    m_InactiveBindingMark = static_cast<uint32_t>(m_Bindings.size());
    m_Bindings.push_back(mixer);
}

bool AnimationMixer::IsActiveAction(const std::shared_ptr<AnimationAction>& action) const
{
    return action && action->GetCacheIndex() != -1 &&
           static_cast<uint32_t>(action->GetCacheIndex()) < m_ActiveActionCount;
}

void AnimationMixer::ActivateAction(const std::shared_ptr<AnimationAction>& action)
{
    if (!action) {
        Logger::Instance().Waring("Action is null!");
        return;
    }
    if (action->GetMixer() != this) {
        Logger::Instance().Waring("The action belongs to another mixer!");
        return;
    }
    if (!IsActiveAction(action)) {
        if (action->GetCacheIndex() < 0) {
            BindAction(action);
            AddInactiveAction(action, action->GetClip() ? action->GetClip()->GetObjectId() : 0,
                              m_Root ? m_Root->GetObjectId() : 0);
        }
        for (const auto& mixer : action->GetPropertyBindings()) {
            if (!mixer)
                continue; // the slots SetBinding refused
            const uint32_t uses = mixer->GetUseCount();
            mixer->SetUseCount(uses + 1);
            if (uses == 0) {
                LendBinding(mixer);
                mixer->SaveOriginalState();
            }
        }
        LendAction(action);
    }
    StartPlaying(action);
}

void AnimationMixer::DeactivateAction(const std::shared_ptr<AnimationAction>& action)
{
    if (!action) {
        Logger::Instance().Waring("Action is null!");
        return;
    }
    if (action->GetMixer() != this)
        return;
    StopPlaying(*action);
    if (!IsActiveAction(action))
        return;
    for (const auto& mixer : action->GetPropertyBindings()) {
        if (mixer && mixer->GetUseCount() > 0)
            mixer->SetUseCount(mixer->GetUseCount() - 1);
    }
    // The reverse of lending: the last active action takes the slot. Only
    // when the slot really holds the action (repeated binding can leave a
    // stale slot behind).
    const uint32_t slot = static_cast<uint32_t>(action->GetCacheIndex());
    if (slot < m_Actions.size() && m_Actions[slot] == action) {
        const uint32_t last = m_ActiveActionCount - 1;
        if (Exchange(m_Actions, last, slot, action,
                     [](AnimationAction& a, uint64_t index) { a.SetCacheIndex(static_cast<int32_t>(index)); }))
            --m_ActiveActionCount;
    }
}

void AnimationMixer::LendAction(const std::shared_ptr<AnimationAction>& action)
{
    const uint32_t first = m_ActiveActionCount;
    const int64_t prev = action->GetCacheIndex();
    if (prev < 0 || !Exchange(m_Actions, first, static_cast<uint64_t>(prev), action,
                              [](AnimationAction& a, uint64_t index) { a.SetCacheIndex(static_cast<int32_t>(index)); }))
        return;
    ++m_ActiveActionCount;
}

void AnimationMixer::LendBinding(const std::shared_ptr<PropertyMixer>& mixer)
{
    const uint32_t first = m_ActiveBindingCount;
    if (Exchange(m_Bindings, first, mixer->GetCacheIndex(), mixer,
                 [](PropertyMixer& m, uint64_t index) { m.SetCacheIndex(static_cast<uint32_t>(index)); }))
        ++m_ActiveBindingCount;
}

void AnimationMixer::TakeBackControlInterpolant(const std::shared_ptr<Interpolant>& interpolant)
{
    if (!interpolant || m_ActiveControlInterpolantCount == 0 || interpolant->GetCacheIndex() < 0) {
        Logger::Instance().Waring("Index is out of range!");
        return;
    }
    const uint32_t last = m_ActiveControlInterpolantCount - 1;
    if (Exchange(m_ControlInterpolants, last, static_cast<uint64_t>(interpolant->GetCacheIndex()), interpolant,
                 [](Interpolant& i, uint64_t index) { i.SetCacheIndex(static_cast<int32_t>(index)); }))
        m_ActiveControlInterpolantCount = last;
}

AnimationMixer* AnimationMixer::Cast(GfxObject* object) { return dynamic_cast<AnimationMixer*>(object); }
const AnimationMixer* AnimationMixer::Cast(const GfxObject* object)
{
    return dynamic_cast<const AnimationMixer*>(object);
}

} // namespace orvcore
