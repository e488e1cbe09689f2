#include <orvrender/SceneLoader.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <glm/geometric.hpp>
#include <glm/gtc/quaternion.hpp>
#include <glm/gtc/type_ptr.hpp>

#include <orvcommon/Logger.h>
#include <orvkernel/material/BasicMaterial.h>
#include <orvkernel/material/MeshPhongMaterial.h>
#include <orvcore/animation/MaterialAnimationClip.h>
#include <orvcore/animation/MatrixAnimationClip.h>
#include <orvcore/animation/MoveAnimationClip.h>
#include <orvcore/animation/NumberKeyframeTrack.h>
#include <orvcore/animation/RotateAnimationClip.h>
#include <orvcore/scene/GroupSceneNode.h>
#include <orvcore/scene/Scene.h>
#include <orvrender/SceneAnimation.h>

// The "animations" of a scene file: keyframe clips played by a mixer on the
// named nodes, and rigid clips (move, rotate, matrix, blink).

namespace orvrender {

using namespace json;
using orvcore::SceneNode;

namespace {

constexpr double kMaxTime = 1.0e6;          // seconds
constexpr std::size_t kMaxKeys = 100000;    // keys of one track
constexpr std::size_t kMaxTracks = 100000;  // tracks and rigid clips of one file

struct Property {
    const char* name;  // in the file
    const char* path;  // the track's property path
    std::size_t size;  // numbers per value in the file (rotation: 1 angle)
};

const Property kProperties[] = {
    {"position", "position", 3}, {"quaternion", "quaternion", 4}, {"rotation", "quaternion", 1},
    {"scale", "scale", 3},       {"matrix", "matrix", 16},        {"visible", "visible", 1},
    {"color", "material.color", 3}, {"opacity", "material.opacity", 1},
};

void CollectOwners(const std::shared_ptr<SceneNode>& node, std::map<const SceneNode*, std::shared_ptr<SceneNode>>& out)
{
    out.emplace(node.get(), node);
    if (auto* group = orvcore::GroupSceneNode::Cast(node.get())) {
        for (const auto& child : group->GetChildren()) {
            if (child.second)
                CollectOwners(child.second, out);
        }
    }
}

/// The drawable leaves of a subtree (blinking works on a node's own overrides).
void CollectLeaves(const std::shared_ptr<SceneNode>& node, std::vector<std::shared_ptr<SceneNode>>& out)
{
    if (auto* group = orvcore::GroupSceneNode::Cast(node.get())) {
        for (const auto& child : group->GetChildren()) {
            if (child.second)
                CollectLeaves(child.second, out);
        }
        return;
    }
    out.push_back(node);
}

float Time(const Json& value, const std::string& path)
{
    return static_cast<float>(Bounded(value, path, -kMaxTime, kMaxTime, false));
}

/// One key's value: a number, or an array of `size` numbers (a bool for
/// "visible"; a number for a scale means the same factor on every axis).
std::vector<float> KeyValue(const Json& value, const Property& property, const std::string& path)
{
    const std::string name = property.name;
    if (name == "visible" && value.is_boolean())
        return {value.get<bool>() ? 1.0f : 0.0f};
    if (value.is_number() && (property.size == 1 || name == "scale")) {
        const float number = static_cast<float>(Bounded(value, path, -kMaxExtent, kMaxExtent, false));
        return std::vector<float>(property.size, number);
    }
    if (name == "color") {
        const glm::vec3 c = Color(value, path);
        return {c.x, c.y, c.z};
    }
    if (!value.is_array() || property.size == 1)
        Fail(path, std::string("expected ") +
                       (property.size == 1 ? "a number" : std::to_string(property.size) + " numbers") + ", found " +
                       TypeName(value));
    if (value.size() != property.size)
        Fail(path, "expected " + std::to_string(property.size) + " numbers, found " + std::to_string(value.size()));
    std::vector<float> result;
    for (std::size_t i = 0; i < value.size(); ++i)
        result.push_back(static_cast<float>(Bounded(value[i], Child(path, i), -kMaxExtent, kMaxExtent, false)));
    return result;
}

glm::quat AxisAngle(const glm::vec3& axis, float degrees) { return glm::angleAxis(glm::radians(degrees), axis); }

} // namespace

void SceneLoader::LoadAnimations(const Json& animations, const std::string& path)
{
    ExpectObject(animations, path);
    CheckKeys(animations, path, {"clips", "rigid"});
    auto result = std::make_shared<SceneAnimations>();

    std::map<const SceneNode*, std::shared_ptr<SceneNode>> owners;
    for (const auto& entry : m_Manager.GetScene()->GetNodes()) {
        if (entry.second)
            CollectOwners(entry.second, owners);
    }
    std::map<std::string, std::shared_ptr<SceneNode>> named;
    for (const auto& entry : m_Info.names) {
        auto owner = owners.find(entry.first);
        if (owner != owners.end())
            named.emplace(entry.second, owner->second);
    }
    std::size_t items = 0;
    const auto nodeOf = [&](const Json& object, const std::string& objectPath, std::string& name) {
        if (++items > kMaxTracks)
            Fail(objectPath, "too large (more than " + std::to_string(kMaxTracks) + " tracks and clips)");
        name = String(Require(object, "node", objectPath), Child(objectPath, "node"));
        auto found = named.find(name);
        if (found == named.end())
            Fail(Child(objectPath, "node"), "no node in the main scene is named \"" + name + "\"");
        return found->second;
    };

    if (const Json* clips = Find(animations, "clips")) {
        const std::string clipsPath = Child(path, "clips");
        ExpectArray(*clips, clipsPath);
        result->mixer = std::make_shared<orvcore::AnimationMixer>(nullptr);
        for (std::size_t c = 0; c < clips->size(); ++c)
            LoadClip((*clips)[c], Child(clipsPath, c), *result, nodeOf);
    }
    if (const Json* rigid = Find(animations, "rigid")) {
        const std::string rigidPath = Child(path, "rigid");
        ExpectObject(*rigid, rigidPath);
        CheckKeys(*rigid, rigidPath, {"loop", "clips"});
        result->rigid = std::make_shared<orvcore::RigidAnimation>();
        result->rigid->SetLoop(Flag(*rigid, "loop", rigidPath, false));
        const std::string clipsPath = Child(rigidPath, "clips");
        const Json& clips = Require(*rigid, "clips", rigidPath);
        ExpectArray(clips, clipsPath);
        for (std::size_t c = 0; c < clips.size(); ++c)
            LoadRigidClip(clips[c], Child(clipsPath, c), *result, nodeOf);
    }
    m_Info.animations = result;
    // The scene starts as it is at time 0 (the camera and grid fit it so).
    m_Manager.UpdateWorld();
    AnimationPlayer(result, m_Manager).SeekTo(0.0);
}

void SceneLoader::LoadClip(const Json& clip, const std::string& path, SceneAnimations& animations,
                           const NodeLookup& nodeOf)
{
    ExpectObject(clip, path);
    CheckKeys(clip, path,
              {"name", "loop", "repetitions", "clamp", "weight", "timeScale", "duration", "blend", "tracks"});
    auto animationClip = std::make_shared<orvcore::AnimationClip>();
    if (const Json* name = Find(clip, "name"))
        animationClip->SetName(String(*name, Child(path, "name")));
    if (const Json* duration = Find(clip, "duration"))
        animationClip->SetDuration(
            static_cast<float>(Bounded(*duration, Child(path, "duration"), 0.0, kMaxTime, false)));
    if (const Json* blend = Find(clip, "blend")) {
        const std::string mode = String(*blend, Child(path, "blend"));
        if (mode != "normal" && mode != "additive")
            Fail(Child(path, "blend"), "expected \"normal\" or \"additive\", found \"" + mode + "\"");
        animationClip->SetBlendMode(mode == "additive" ? orvcore::ANIMATION_BLEND_ADDITIVE
                                                       : orvcore::ANIMATION_BLEND_NORMAL);
    }
    const std::string tracksPath = Child(path, "tracks");
    const Json& tracks = Require(clip, "tracks", path);
    ExpectArray(tracks, tracksPath);
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        const std::string trackPath = Child(tracksPath, i);
        const Json& track = tracks[i];
        ExpectObject(track, trackPath);
        CheckKeys(track, trackPath, {"node", "property", "times", "values", "interpolation", "axis"});
        std::string nodeName;
        auto node = nodeOf(track, trackPath, nodeName);
        const std::string propertyName = String(Require(track, "property", trackPath), Child(trackPath, "property"));
        const Property* property = nullptr;
        for (const auto& candidate : kProperties) {
            if (propertyName == candidate.name)
                property = &candidate;
        }
        if (!property)
            Fail(Child(trackPath, "property"), "unknown property \"" + propertyName + "\"");
        const bool rotation = propertyName == "rotation";
        glm::vec3 axis(0, 0, 1);
        if (const Json* axisValue = Find(track, "axis")) {
            if (!rotation)
                Fail(Child(trackPath, "axis"), "only a \"rotation\" track has an axis");
            axis = Vec3(*axisValue, Child(trackPath, "axis"));
            if (glm::length(axis) < 1e-12f)
                Fail(Child(trackPath, "axis"), "axis must not be the zero vector");
            axis = glm::normalize(axis);
        }
        bool step = propertyName == "visible";
        if (const Json* interpolation = Find(track, "interpolation")) {
            const std::string mode = String(*interpolation, Child(trackPath, "interpolation"));
            if (mode != "linear" && mode != "step")
                Fail(Child(trackPath, "interpolation"), "expected \"linear\" or \"step\", found \"" + mode + "\"");
            step = step || mode == "step";
        }

        // Keys as the file gives them.
        const std::string timesPath = Child(trackPath, "times");
        const std::string valuesPath = Child(trackPath, "values");
        const Json& times = Require(track, "times", trackPath);
        const Json& values = Require(track, "values", trackPath);
        ExpectArray(times, timesPath);
        ExpectArray(values, valuesPath);
        if (times.empty())
            Fail(timesPath, "needs at least one key");
        if (times.size() > kMaxKeys)
            Fail(timesPath, "too large (at most " + std::to_string(kMaxKeys) + " keys)");
        if (values.size() != times.size())
            Fail(valuesPath, "expected one value per key (" + std::to_string(times.size()) + "), found " +
                                 std::to_string(values.size()));
        std::vector<float> keyTimes;
        std::vector<std::vector<float>> keyValues;
        for (std::size_t k = 0; k < times.size(); ++k) {
            keyTimes.push_back(Time(times[k], Child(timesPath, k)));
            if (k > 0 && keyTimes[k] < keyTimes[k - 1])
                Fail(Child(timesPath, k), "key times must not decrease");
            keyValues.push_back(KeyValue(values[k], *property, Child(valuesPath, k)));
        }
        // Rotations by angle: quarter turns at most between keys, so that
        // the blend of neighbouring quaternions follows the angle.
        if (rotation) {
            std::vector<float> t;
            std::vector<std::vector<float>> v;
            for (std::size_t k = 0; k < keyTimes.size(); ++k) {
                int pieces = 1;
                if (k > 0 && !step) {
                    const float turn = std::fabs(keyValues[k][0] - keyValues[k - 1][0]);
                    pieces = std::max(1, static_cast<int>(std::ceil(turn / 90.0f)));
                }
                if (t.size() + static_cast<std::size_t>(pieces) > kMaxKeys)
                    Fail(Child(valuesPath, k), "too large (more than " + std::to_string(kMaxKeys) +
                                                   " keys once turned in quarter turns)");
                for (int p = 1; p <= pieces; ++p) {
                    const float f = static_cast<float>(p) / static_cast<float>(pieces);
                    const float angle =
                        k == 0 ? keyValues[0][0] : keyValues[k - 1][0] + (keyValues[k][0] - keyValues[k - 1][0]) * f;
                    t.push_back(k == 0 ? keyTimes[0] : keyTimes[k - 1] + (keyTimes[k] - keyTimes[k - 1]) * f);
                    const glm::quat q = AxisAngle(axis, angle);
                    v.push_back({q.x, q.y, q.z, q.w});
                }
            }
            keyTimes = std::move(t);
            keyValues = std::move(v);
        }
        if (propertyName == "quaternion") {
            for (std::size_t k = 0; k < keyValues.size(); ++k) {
                glm::quat q(keyValues[k][3], keyValues[k][0], keyValues[k][1], keyValues[k][2]);
                if (glm::length(q) < 1e-6f)
                    Fail(Child(valuesPath, k), "a rotation quaternion must not be zero");
                q = glm::normalize(q);
                if (k > 0 && glm::dot(q, glm::quat(keyValues[k - 1][3], keyValues[k - 1][0], keyValues[k - 1][1],
                                                   keyValues[k - 1][2])) < 0.0f)
                    q = -q; // the same rotation, on the side of the previous key
                keyValues[k] = {q.x, q.y, q.z, q.w};
            }
        }
        // A step holds each value up to the next key: the previous value
        // again at the next key's time, then the jump.
        auto timeBuffer = std::make_shared<orvcore::Float32Buffer>();
        auto valueBuffer = std::make_shared<orvcore::Float32Buffer>();
        for (std::size_t k = 0; k < keyTimes.size(); ++k) {
            if (step && k > 0) {
                timeBuffer->Push(keyTimes[k]);
                for (float x : keyValues[k - 1])
                    valueBuffer->Push(x);
            }
            timeBuffer->Push(keyTimes[k]);
            for (float x : keyValues[k])
                valueBuffer->Push(x);
        }
        animations.mixer->AddNamedNode(nodeName, node);
        animationClip->AddTrack(std::make_shared<orvcore::NumberKeyframeTrack>(
            nodeName + "." + property->path, timeBuffer, valueBuffer,
            step ? orvcore::INTERPOLATION_DISCRETE : orvcore::INTERPOLATION_LINEAR));
    }

    // Binding reports each track's refused binding slot; expected here.
    auto& logger = orvcore::Logger::Instance();
    const auto level = logger.GetLevel();
    logger.SetLevel(orvcore::EnumLogLevel::Error);
    auto action = animations.mixer->ClipAction(animationClip);
    logger.SetLevel(level);

    std::string loop = "repeat";
    if (const Json* value = Find(clip, "loop")) {
        loop = String(*value, Child(path, "loop"));
        if (loop != "once" && loop != "repeat" && loop != "pingpong")
            Fail(Child(path, "loop"), "expected \"once\", \"repeat\" or \"pingpong\", found \"" + loop + "\"");
    }
    uint32_t repetitions = orvcore::AnimationAction::kInfiniteRepetitions;
    if (const Json* value = Find(clip, "repetitions"))
        repetitions = static_cast<uint32_t>(Integer(*value, Child(path, "repetitions"), 1, 1000000));
    action->SetLoop(loop == "once"       ? orvcore::LOOP_ONCE
                    : loop == "pingpong" ? orvcore::LOOP_PINGPONG
                                         : orvcore::LOOP_REPEAT,
                    repetitions);
    action->SetClampWhenFinished(Flag(clip, "clamp", path, true));
    if (const Json* weight = Find(clip, "weight"))
        action->SetWeight(static_cast<float>(Bounded(*weight, Child(path, "weight"), 0.0, 1000.0, false)));
    float timeScale = 1.0f;
    if (const Json* scale = Find(clip, "timeScale")) {
        timeScale = static_cast<float>(Bounded(*scale, Child(path, "timeScale"), 0.0, 1000.0, true));
        action->SetTimeScale(timeScale);
    }
    logger.SetLevel(orvcore::EnumLogLevel::Error);
    animations.mixer->ActivateAction(action);
    logger.SetLevel(level);
    animations.actions.push_back(action);
    animations.length = std::max(animations.length, double(animationClip->GetPlayDuration()) / timeScale);
}

void SceneLoader::LoadRigidClip(const Json& clip, const std::string& path, SceneAnimations& animations,
                                const NodeLookup& nodeOf)
{
    ExpectObject(clip, path);
    const std::string type = String(Require(clip, "type", path), Child(path, "type"));
    static const std::map<std::string, std::set<std::string>> keys = {
        {"move", {"offset"}},
        {"rotate", {"axis", "angle", "pivot"}},
        {"matrix", {"from", "to"}},
        {"blink", {"color", "period"}},
    };
    auto kind = keys.find(type);
    if (kind == keys.end())
        Fail(Child(path, "type"), "unknown rigid clip type \"" + type + "\"");
    std::set<std::string> allowed = {"type", "node", "start", "end"};
    allowed.insert(kind->second.begin(), kind->second.end());
    CheckKeys(clip, path, allowed);
    std::string name;
    auto node = nodeOf(clip, path, name);
    const float start =
        static_cast<float>(Bounded(Require(clip, "start", path), Child(path, "start"), 0.0, kMaxTime, false));
    const float end = static_cast<float>(Bounded(Require(clip, "end", path), Child(path, "end"), 0.0, kMaxTime, false));
    if (end < start)
        Fail(Child(path, "end"), "the end must not come before the start");

    std::vector<std::shared_ptr<SceneNode>> moved{node};
    if (type == "move") {
        const glm::vec3 offset = Vec3(Require(clip, "offset", path), Child(path, "offset"));
        animations.rigid->Add(std::make_shared<orvcore::MoveAnimationClip>(node, offset, start, end));
    } else if (type == "rotate") {
        glm::vec3 axis = Vec3(Require(clip, "axis", path), Child(path, "axis"));
        if (glm::length(axis) < 1e-12f)
            Fail(Child(path, "axis"), "axis must not be the zero vector");
        const float angle = glm::radians(static_cast<float>(
            Bounded(Require(clip, "angle", path), Child(path, "angle"), -360000.0, 360000.0, false)));
        if (const Json* pivot = Find(clip, "pivot"))
            animations.rigid->Add(std::make_shared<orvcore::RotateAnimationClip>(
                node, Vec3(*pivot, Child(path, "pivot")), axis, angle, start, end));
        else
            animations.rigid->Add(std::make_shared<orvcore::RotateAnimationClip>(node, axis, angle, start, end));
    } else if (type == "matrix") {
        const auto from = Numbers<16>(Require(clip, "from", path), Child(path, "from"));
        const auto to = Numbers<16>(Require(clip, "to", path), Child(path, "to"));
        animations.rigid->Add(std::make_shared<orvcore::MatrixAnimationClip>(node, glm::make_mat4(from.data()),
                                                                             glm::make_mat4(to.data()), start, end));
    } else {
        const glm::vec3 color = Color(Require(clip, "color", path), Child(path, "color"));
        const float period =
            static_cast<float>(Bounded(Require(clip, "period", path), Child(path, "period"), 0.0, kMaxTime, true));
        auto face = orvcore::MeshPhongMaterial::Create("scene.blink." + name);
        face->SetColor(color);
        auto edge = orvcore::BasicMaterial::Create("scene.blink." + name + ".edges");
        edge->SetColor(color * 0.6f);
        // Overrides belong to the drawable nodes, so a group blinks leaf by leaf.
        moved.clear();
        CollectLeaves(node, moved);
        for (const auto& leaf : moved)
            animations.rigid->Add(
                std::make_shared<orvcore::MaterialAnimationClip>(leaf, face, edge, period, start, end));
    }
    for (const auto& entry : moved) {
        const bool known = std::any_of(animations.rigidNodes.begin(), animations.rigidNodes.end(),
                                       [&](const auto& n) { return n.first == entry; });
        if (!known)
            animations.rigidNodes.emplace_back(entry, entry->GetTransform());
    }
    animations.length = std::max(animations.length, double(end));
    animations.rigidLength = std::max(animations.rigidLength, double(end));
}

} // namespace orvrender
