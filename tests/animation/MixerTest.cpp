// Clips, actions and the animation mixer: the action and binding lists, and
// playback that blends tracks and writes them to nodes.

#include <cmath>

#include <glm/gtc/quaternion.hpp>
#include <gtest/gtest.h>

#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/animation/Animation.h>
#include <orvcore/animation/AnimationMixer.h>
#include <orvcore/animation/NumberKeyframeTrack.h>
#include <orvcore/scene/PrimitiveSceneNode.h>
#include <orvcore/scene/ShapeSceneNode.h>

#include "Expect.h"
#include "LogCapture.h"
#include "ShapeFactory.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Translate;
using Texts = std::vector<std::string>;

namespace {

struct Track {
    std::string path;
    std::vector<float> times;
    std::vector<float> values;
};

std::shared_ptr<AnimationClip> Clip(const std::vector<Track>& tracks)
{
    auto clip = std::make_shared<AnimationClip>();
    for (const Track& t : tracks) {
        clip->AddTrack(std::make_shared<NumberKeyframeTrack>(
            t.path, std::make_shared<Float32Buffer>(t.times.data(), t.times.size()),
            std::make_shared<Float32Buffer>(t.values.data(), t.values.size()), INTERPOLATION_LINEAR));
    }
    return clip;
}

std::shared_ptr<ShapeSceneNode> ShapeRoot(const glm::mat4& transform = glm::mat4(1.0f))
{
    auto root = std::make_shared<ShapeSceneNode>(
        std::make_shared<CompoundShape>(std::vector<std::shared_ptr<PrimitiveShape>>{orvtest::Square(0, 0, 0, 1)}));
    root->SetTransform(transform);
    return root;
}

glm::vec3 Position(const SceneNode& node) { return glm::vec3(node.GetTransform()[3]); }

/// A playing action of the clip with the given weight.
std::shared_ptr<AnimationAction> Play(AnimationMixer& mixer, const std::shared_ptr<AnimationClip>& clip,
                                      float weight = 1.0f)
{
    auto action = mixer.ClipAction(clip);
    action->SetWeight(weight);
    mixer.ActivateAction(action);
    return action;
}

} // namespace

TEST(AnimationMixer, ActionAndBindingListsKeepTheirRules)
{
    auto clip = Clip({{"a", {0}, {0}}, {"b", {0}, {0}}, {"c", {0}, {0}}});
    EXPECT_EQ(clip->GetDuration(), -1.0f);
    {
        orvtest::LogCapture log;
        clip->AddTrack(nullptr);
        EXPECT_EQ(log.warnings, Texts{"Keyframe is nulL!"});
    }
    EXPECT_EQ(clip->GetTracks().size(), 3u);
    EXPECT_EQ(clip->GetDuration(), -1.0f);

    AnimationMixer mixer(ShapeRoot());
    orvtest::LogCapture log;
    auto first = mixer.ClipAction(clip);
    auto second = mixer.ClipAction(clip);
    // Every call makes a new action; every bind offers one fresh mixer per
    // track, which the inverted range test refuses.
    EXPECT_NE(first, second);
    EXPECT_EQ(mixer.GetActions(), (std::vector<std::shared_ptr<AnimationAction>>{first, second}));
    EXPECT_EQ(log.warnings, Texts(6, "Index is out of range!"));
    EXPECT_EQ(mixer.GetBindings().size(), 6u);
    EXPECT_EQ(mixer.GetInactiveBindingMark(), 5u);
    for (const auto& slot : first->GetPropertyBindings())
        EXPECT_EQ(slot, nullptr);
    EXPECT_EQ(first->GetInterpolants().size(), 3u);
    EXPECT_EQ(first->GetCacheIndex(), -1);
    EXPECT_FALSE(mixer.IsActiveAction(first));

    // Activation binds again (an action without a slot), finds its slot and
    // lends it the front; the null slots are skipped.
    mixer.ActivateAction(first);
    EXPECT_TRUE(mixer.IsActiveAction(first));
    EXPECT_EQ(mixer.GetActiveActionCount(), 1u);
    EXPECT_EQ(mixer.GetActions().front(), first);
    EXPECT_EQ(mixer.GetActionsByClip().at(clip->GetObjectId()).KnownActions.size(), 1u);
    EXPECT_EQ(Texts(log.warnings.begin() + 6, log.warnings.end()),
              (Texts{"Index is out of range!", "Index is out of range!", "Index is out of range!",
                     "Animation path names no property: \"a\"", "Animation path names no property: \"b\"",
                     "Animation path names no property: \"c\""}));

    // A clip without tracks activates without a warning.
    auto empty = mixer.ClipAction(std::make_shared<AnimationClip>());
    log.warnings.clear();
    mixer.ActivateAction(empty);
    EXPECT_TRUE(mixer.IsActiveAction(empty));
    EXPECT_EQ(mixer.GetActiveActionCount(), 2u);
    EXPECT_TRUE(log.warnings.empty());
    mixer.DeactivateAction(first);
    EXPECT_FALSE(mixer.IsActiveAction(first));
    EXPECT_TRUE(mixer.IsActiveAction(empty));
    EXPECT_EQ(mixer.GetActiveActionCount(), 1u);

    clip->SetDuration(4.0f);
    first->SetDuration(2.0f);
    EXPECT_EQ(first->GetTimeScale(), 2.0f);
    EXPECT_EQ(mixer.ClipAction(nullptr), nullptr);
    EXPECT_EQ(log.warnings.back(), "Clip is null!");
}

TEST(Animation, ResetReEnablesAndKeepsPauseAndLoop)
{
    Animation animation;
    EXPECT_FALSE(animation.Play(1.0f));
    animation.SetEnabled(false);
    animation.SetPaused(true);
    animation.SetLoop(true);
    animation.Reset();
    EXPECT_TRUE(animation.GetEnabled());
    EXPECT_TRUE(animation.GetPaused());
    EXPECT_TRUE(animation.GetLoop());
    EXPECT_EQ(animation.GetDuration(), -1.0f);
}

TEST(AnimationMixer, TracksMoveANamedNodeToTheRightWorldBox)
{
    auto part = orvtest::MakeLeaf(glm::vec3(-1.0f), glm::vec3(1.0f));
    auto group = orvtest::Group({part});
    group->SetTransform(Translate(100, 0, 0));
    group->UpdateTransform(glm::mat4(1.0f));

    AnimationMixer mixer(nullptr);
    mixer.AddNamedNode("cell/part", part);
    auto action = mixer.ClipAction(Clip({{"cell/part.position", {0, 2}, {0, 0, 0, 10, 0, 0}},
                                         {"cell/part.scale", {0, 2}, {1, 1, 1, 3, 3, 3}}}));
    action->SetLoop(LOOP_ONCE);
    action->SetClampWhenFinished(true);
    mixer.ActivateAction(action);

    mixer.Update(0.5f); // position 2.5, scale 1.5
    EXPECT_GT(group->GetUpdateVersion(), 0u);
    group->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(part->GetWorldBBox(), AxisAlignedBox(glm::vec3(101, -1.5f, -1.5f), glm::vec3(104, 1.5f, 1.5f)));

    mixer.Update(10.0f); // held at the end
    group->UpdateTransform(glm::mat4(1.0f));
    EXPECT_EQ(part->GetWorldBBox(), AxisAlignedBox(glm::vec3(107, -3, -3), glm::vec3(113, 3, 3)));
    EXPECT_TRUE(action->IsFinished());
    EXPECT_FLOAT_EQ(mixer.GetTime(), 10.5f);

    // Deactivated, the node keeps its last values.
    mixer.DeactivateAction(action);
    mixer.SetTime(1.0f);
    EXPECT_VEC(Position(*part), glm::vec3(10, 0, 0));
}

TEST(AnimationMixer, WeightsBlendExactlyWithTheRestValue)
{
    struct Case {
        float w1, w2; // w2 < 0: no second action
        glm::vec3 expected;
    };
    // Rest (1, 2, 3); the actions hold (10, 0, 0) and (0, 20, 0).
    const Case cases[] = {
        {0.25f, 0.75f, {2.5f, 15, 0}},  // weights adding up to 1
        {0.25f, 0.25f, {3, 6, 1.5f}},   // 0.25 a + 0.25 b + 0.5 rest
        {2.0f, 2.0f, {5, 10, 0}},       // more than 1: normalised
        {0.0f, 0.5f, {0.5f, 11, 1.5f}}, // a silent action does not count
        {0.0f, 0.0f, {1, 2, 3}},        // nothing plays: the rest value
        {0.5f, -1.0f, {5.5f, 1, 1.5f}}, // one action alone, half weighted
        {1.0f, -1.0f, {10, 0, 0}},
    };
    for (const Case& c : cases) {
        auto root = ShapeRoot(Translate(1, 2, 3));
        AnimationMixer mixer(root);
        orvtest::LogCapture log;
        Play(mixer, Clip({{"position", {0}, {10, 0, 0}}}), c.w1);
        if (c.w2 >= 0.0f)
            Play(mixer, Clip({{"position", {0}, {0, 20, 0}}}), c.w2);
        mixer.Update(0.1f);
        EXPECT_VEC(Position(*root), c.expected, 1e-5f) << c.w1 << ", " << c.w2;
    }

    // Offsets of an additive action are added, times its weight.
    auto root = ShapeRoot(Translate(1, 2, 3));
    AnimationMixer mixer(root);
    Play(mixer, Clip({{"position", {0}, {10, 0, 0}}}));
    auto additive = Clip({{"position", {0}, {0, 0, 5}}});
    additive->SetBlendMode(ANIMATION_BLEND_ADDITIVE);
    Play(mixer, additive, 0.5f);
    mixer.Update(0.1f);
    EXPECT_VEC(Position(*root), glm::vec3(10, 0, 2.5f));
}

TEST(AnimationMixer, QuaternionsBlendOnTheNearSideAndNormalise)
{
    auto root = ShapeRoot();
    AnimationMixer mixer(root);
    const float s = std::sin(glm::radians(45.0f)), c = std::cos(glm::radians(45.0f));
    // A quarter turn about Z, and the identity written as (0, 0, 0, -1):
    // their even blend is an eighth of a turn, not three eighths.
    Play(mixer, Clip({{"quaternion", {0}, {0, 0, s, c}}}), 0.5f);
    Play(mixer, Clip({{"quaternion", {0}, {0, 0, 0, -1}}}), 0.5f);
    mixer.Update(0.0f);
    const glm::vec3 x = glm::vec3(root->GetTransform() * glm::vec4(1, 0, 0, 0));
    EXPECT_VEC(x, glm::vec3(c, s, 0), 1e-6f);
}

TEST(AnimationMixer, LoopModesRepetitionsAndClamping)
{
    struct Case {
        EnumAnimationLoopMode mode;
        uint32_t repetitions;
        bool clamp;
        float time;
        float x; // the clip runs x from 0 to 2 in 2 s; the rest is 100
        bool finished;
    };
    const uint32_t forever = AnimationAction::kInfiniteRepetitions;
    const Case cases[] = {
        {LOOP_ONCE, forever, false, 1.5f, 1.5f, false}, {LOOP_ONCE, forever, true, 5.0f, 2.0f, true},
        {LOOP_ONCE, forever, false, 5.0f, 100.0f, true}, {LOOP_REPEAT, forever, false, 5.0f, 1.0f, false},
        {LOOP_REPEAT, 2, true, 3.5f, 1.5f, false},      {LOOP_REPEAT, 2, true, 5.0f, 2.0f, true},
        {LOOP_PINGPONG, forever, false, 3.5f, 0.5f, false}, {LOOP_PINGPONG, forever, false, 5.0f, 1.0f, false},
        {LOOP_PINGPONG, 1, true, 5.0f, 0.0f, true},
    };
    for (const Case& c : cases) {
        auto root = ShapeRoot(Translate(100, 0, 0));
        AnimationMixer mixer(root);
        auto action = mixer.ClipAction(Clip({{"position", {0, 2}, {0, 0, 0, 2, 0, 0}}}));
        action->SetLoop(c.mode, c.repetitions);
        action->SetClampWhenFinished(c.clamp);
        mixer.ActivateAction(action);
        mixer.SetTime(c.time);
        EXPECT_NEAR(Position(*root).x, c.x, 1e-5f) << "mode " << c.mode << " at " << c.time;
        EXPECT_EQ(action->IsFinished(), c.finished) << "mode " << c.mode << " at " << c.time;
        // Small steps reach the same place as the jump.
        mixer.SetTime(0.0f);
        for (int i = 0; i < 20; ++i)
            mixer.Update(c.time / 20.0f);
        EXPECT_NEAR(Position(*root).x, c.x, 1e-4f) << "stepped, mode " << c.mode << " at " << c.time;
    }

    // Time scale and pause.
    auto root = ShapeRoot();
    AnimationMixer mixer(root);
    auto action = Play(mixer, Clip({{"position", {0, 2}, {0, 0, 0, 2, 0, 0}}}));
    action->SetTimeScale(2.0f);
    mixer.Update(0.25f);
    EXPECT_FLOAT_EQ(Position(*root).x, 0.5f);
    action->SetPaused(true);
    mixer.Update(0.25f);
    EXPECT_FLOAT_EQ(Position(*root).x, 0.5f);
}

TEST(AnimationMixer, BadPathsWarnOnceAndTheRestPlays)
{
    auto part = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    AnimationMixer mixer(nullptr);
    mixer.AddNamedNode("part", part);
    orvtest::LogCapture log;
    auto clip = Clip({{"ghost.position", {0}, {1, 2, 3}},
                      {"part.colour", {0}, {1, 2, 3}},
                      {"part.position", {0}, {1, 2}},
                      {"position", {0}, {1, 2, 3}}, // no root
                      {"part.scale", {0}, {2, 2, 2}}});
    Play(mixer, clip);
    Play(mixer, clip);
    EXPECT_EQ(std::count(log.warnings.begin(), log.warnings.end(), "Index is out of range!"), 20);
    log.warnings.erase(std::remove(log.warnings.begin(), log.warnings.end(), "Index is out of range!"),
                       log.warnings.end());
    EXPECT_EQ(log.warnings, (Texts{"Animation path names no node: \"ghost.position\"",
                                   "Animation path names no property: \"part.colour\"",
                                   "Animation track has the wrong number of values per key: \"part.position\"",
                                   "Animation path names no node: \"position\""}));
    mixer.Update(0.0f);
    EXPECT_EQ(part->GetTransform(), glm::scale(glm::mat4(1.0f), glm::vec3(2.0f)));

    log.warnings.clear();
    mixer.Update(std::nanf(""));
    EXPECT_FALSE(mixer.AddNamedNode("", part));
    EXPECT_EQ(log.warnings, (Texts{"Animation time is not finite!", "Node is null!"}));
}

TEST(AnimationMixer, VisibilityAndFaceMaterialsFollowTheirTracks)
{
    auto faceMaterial = BasicMaterial::Create("faces");
    auto edgeMaterial = BasicMaterial::Create("edges");
    auto faces = std::make_shared<PrimitiveSceneNode>(orvtest::Square(0, 0, 0, 1)->GetGeometry(), faceMaterial);
    auto edges = std::make_shared<PrimitiveSceneNode>(
        orvtest::Geometry(PRIMITIVE_LINES, {glm::vec3(0.0f), glm::vec3(1.0f)}), edgeMaterial);
    auto box = orvtest::Group({faces, edges});

    AnimationMixer mixer(nullptr);
    mixer.AddNamedNode("box", box);
    Play(mixer, Clip({{"box.visible", {0, 1, 1}, {1, 1, 0}},
                      {"box.material.color", {0, 2}, {1, 0, 0, 0, 0, 1}},
                      {"box.material.opacity", {0, 2}, {1, 0}}}));
    mixer.SetTime(0.5f);
    EXPECT_TRUE(box->GetVisible());
    EXPECT_VEC(faceMaterial->GetColor(), glm::vec3(0.75f, 0, 0.25f));
    EXPECT_VEC(edgeMaterial->GetColor(), glm::vec3(1.0f)); // edges are not the part's colour
    EXPECT_FLOAT_EQ(faceMaterial->GetOpacity(), 0.75f);
    EXPECT_EQ(faceMaterial->BlendingMode, BLENDING_TRANSPARENT);
    mixer.SetTime(1.0f);
    EXPECT_FALSE(box->GetVisible());
    mixer.SetTime(0.0f);
    EXPECT_EQ(faceMaterial->BlendingMode, BLENDING_NONE); // opaque again
}
