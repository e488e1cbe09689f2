#include <orvcore/animation/AnimationMixer.h>

#include <algorithm>
#include <cmath>

#include <orvcommon/Logger.h>
#include <orvkernel/geometry/EnumPrimitiveType.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

// Playback: resolving track paths to node properties, advancing the playing
// actions, blending and writing the values.

namespace orvcore {

namespace {

void AddMaterial(const PrimitiveShape* primitive, bool trianglesOnly,
                 std::vector<std::shared_ptr<MaterialInstance>>& out)
{
    if (!primitive || !primitive->GetMaterial())
        return;
    if (trianglesOnly && !IsTrianglePrimitive(primitive->GetPrimitiveType()))
        return;
    if (std::find(out.begin(), out.end(), primitive->GetMaterial()) == out.end())
        out.push_back(primitive->GetMaterial());
}

/// The materials of the node's primitives and of its subtree's.
void CollectMaterials(const SceneNode& node, bool trianglesOnly, std::vector<std::shared_ptr<MaterialInstance>>& out)
{
    if (const auto* primitiveNode = PrimitiveSceneNode::Cast(&node)) {
        AddMaterial(primitiveNode->GetPrimitive().get(), trianglesOnly, out);
    } else if (const auto* shapeNode = ShapeSceneNode::Cast(&node)) {
        for (const auto& primitive : shapeNode->GetPrimitives())
            AddMaterial(primitive.get(), trianglesOnly, out);
    } else if (const auto* group = GroupSceneNode::Cast(&node)) {
        for (const auto& child : group->GetChildren()) {
            if (child.second)
                CollectMaterials(*child.second, trianglesOnly, out);
        }
    }
}

} // namespace

bool AnimationMixer::AddNamedNode(const std::string& name, const std::shared_ptr<SceneNode>& node)
{
    if (name.empty() || !node) {
        Logger::Instance().Waring("Node is null!");
        return false;
    }
    m_NamedNodes[name] = node;
    return true;
}

std::shared_ptr<SceneNode> AnimationMixer::FindNamedNode(const std::string& name) const
{
    auto found = m_NamedNodes.find(name);
    return found == m_NamedNodes.end() ? nullptr : found->second;
}

void AnimationMixer::Warn(const std::string& path, const char* what)
{
    if (m_ReportedPaths.insert(path).second)
        Logger::Instance().Waring(std::string(what) + ": \"" + path + "\"");
}

int64_t AnimationMixer::FindTarget(const std::string& path, unsigned int valueSize, const std::string& typeName)
{
    std::string name;
    EnumAnimatedProperty kind;
    if (!PropertyTarget::ParsePath(path, name, kind)) {
        Warn(path, "Animation path names no property");
        return -1;
    }
    std::shared_ptr<SceneNode> node = name.empty() ? std::shared_ptr<SceneNode>(m_Root) : FindNamedNode(name);
    if (!node) {
        Warn(path, "Animation path names no node");
        return -1;
    }
    if (valueSize != PropertyTarget::ValueSize(kind)) {
        Warn(path, "Animation track has the wrong number of values per key");
        return -1;
    }
    const auto key = std::make_pair(static_cast<const SceneNode*>(node.get()), kind);
    auto found = m_TargetByProperty.find(key);
    if (found != m_TargetByProperty.end())
        return found->second;

    auto pose = m_PoseByNode.find(node.get());
    if (pose == m_PoseByNode.end()) {
        pose = m_PoseByNode.emplace(node.get(), static_cast<uint32_t>(m_Poses.size())).first;
        m_Poses.emplace_back();
        m_Poses.back().node = node;
    }
    std::vector<std::shared_ptr<MaterialInstance>> materials;
    if (kind == PROPERTY_COLOR || kind == PROPERTY_OPACITY) {
        CollectMaterials(*node, true, materials);
        if (materials.empty())
            CollectMaterials(*node, false, materials);
        if (materials.empty()) {
            Warn(path, "Animation path names a node without materials");
            return -1;
        }
    }
    auto binding = std::make_shared<PropertyBinding>(m_Root, path);
    m_Targets.emplace_back(kind, pose->second, PropertyMixer::Create(typeName, binding, valueSize),
                           std::move(materials));
    const auto index = static_cast<uint32_t>(m_Targets.size() - 1);
    m_TargetByProperty.emplace(key, index);
    return index;
}

void AnimationMixer::Resolve(AnimationAction& action)
{
    action.m_Resolved = true;
    if (!action.m_Clip)
        return;
    const auto& tracks = action.m_Clip->GetTracks();
    for (std::size_t i = 0; i < tracks.size() && i < action.m_Interpolants.size(); ++i) {
        Interpolant* interpolant = action.m_Interpolants[i].get();
        if (!interpolant)
            continue; // a track without keys
        // The interpolant's value size, which its results have, even if the
        // track's values were replaced since.
        const int64_t target =
            FindTarget(tracks[i]->GetName(), interpolant->GetValueSize(), tracks[i]->GetValueTypeName());
        if (target >= 0)
            action.m_Channels.push_back({interpolant, static_cast<uint32_t>(target)});
    }
}

void AnimationMixer::StartPlaying(const std::shared_ptr<AnimationAction>& action)
{
    if (action->m_PlayingSlot >= 0)
        return;
    if (!action->m_Resolved)
        Resolve(*action);
    if (action->m_Clip)
        action->m_PlayLength = action->m_Clip->GetPlayDuration();
    const bool additive = action->m_BlendMode == ANIMATION_BLEND_ADDITIVE;
    for (const auto& channel : action->m_Channels) {
        PropertyTarget& target = m_Targets[channel.target];
        target.Acquire(m_Poses[target.GetPose()], additive);
        Reclassify(channel.target);
    }
    action->m_PlayingSlot = static_cast<int32_t>(m_Playing.size());
    m_Playing.push_back(action);
}

void AnimationMixer::StopPlaying(AnimationAction& action)
{
    if (action.m_PlayingSlot < 0)
        return;
    const bool additive = action.m_BlendMode == ANIMATION_BLEND_ADDITIVE;
    for (const auto& channel : action.m_Channels) {
        PropertyTarget& target = m_Targets[channel.target];
        target.Release(m_Poses[target.GetPose()], additive);
        Reclassify(channel.target);
    }
    const auto slot = static_cast<std::size_t>(action.m_PlayingSlot);
    m_Playing[slot] = m_Playing.back();
    m_Playing[slot]->m_PlayingSlot = static_cast<int32_t>(slot);
    m_Playing.pop_back();
    action.m_PlayingSlot = -1;
}

void AnimationMixer::Reclassify(uint32_t index)
{
    PropertyTarget& target = m_Targets[index];
    const bool listed = target.GetSharedSlot() != PropertyTarget::kNoSlot;
    if (target.IsBlended() == listed)
        return;
    if (!listed) {
        target.SetSharedSlot(static_cast<uint32_t>(m_SharedTargets.size()));
        m_SharedTargets.push_back(index);
        return;
    }
    const uint32_t moved = m_SharedTargets.back();
    m_SharedTargets[target.GetSharedSlot()] = moved;
    m_Targets[moved].SetSharedSlot(target.GetSharedSlot());
    m_SharedTargets.pop_back();
    target.SetSharedSlot(PropertyTarget::kNoSlot);
}

void AnimationMixer::Update(float delta)
{
    if (!std::isfinite(delta)) {
        Logger::Instance().Waring("Animation time is not finite!");
        return;
    }
    m_Time += delta;
    // The actions, their channels and what these point to lie all over the
    // heap: each is prefetched a few actions ahead, one level per stage.
    const std::size_t count = m_Playing.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i + 8 < count) {
            const char* ahead = reinterpret_cast<const char*>(m_Playing[i + 8].get());
            __builtin_prefetch(ahead);
            __builtin_prefetch(ahead + 64);
        }
        if (i + 4 < count)
            __builtin_prefetch(m_Playing[i + 4]->m_Channels.data());
        if (i + 2 < count) {
            for (const auto& channel : m_Playing[i + 2]->m_Channels) {
                const char* interpolant = reinterpret_cast<const char*>(channel.interpolant);
                __builtin_prefetch(interpolant);
                __builtin_prefetch(interpolant + 64);
                __builtin_prefetch(&m_Targets[channel.target]);
            }
        }
        AnimationAction& action = *m_Playing[i];
        action.Advance(delta);
        const float weight = action.m_Enabled ? action.m_Weight : 0.0f;
        const float t = action.GetClipTime();
        const bool additive = action.m_BlendMode == ANIMATION_BLEND_ADDITIVE;
        for (const auto& channel : action.m_Channels) {
            PropertyTarget& target = m_Targets[channel.target];
            if (target.IsDirect())
                target.Set(*channel.interpolant, t, weight, m_Poses[target.GetPose()]);
            else if (weight == 0.0f)
                continue;
            else if (additive)
                target.AccumulateAdditive(*channel.interpolant, t, weight);
            else
                target.Accumulate(*channel.interpolant, t, weight);
        }
    }
    Write();
}

void AnimationMixer::Write()
{
    for (const uint32_t index : m_SharedTargets) {
        PropertyTarget& target = m_Targets[index];
        target.Apply(m_Poses[target.GetPose()]);
    }
    const std::size_t count = m_Poses.size();
    for (std::size_t i = 0; i < count; ++i) {
        if (i + 4 < count && m_Poses[i + 4].touched)
            __builtin_prefetch(m_Poses[i + 4].node.get());
        if (m_Poses[i].touched)
            m_Poses[i].Write();
    }
}

void AnimationMixer::SetTime(float seconds)
{
    if (!std::isfinite(seconds)) {
        Logger::Instance().Waring("Animation time is not finite!");
        return;
    }
    for (const auto& action : m_Playing)
        action->SetTime(0.0f);
    m_Time = 0.0f;
    Update(seconds);
}

} // namespace orvcore
