// Self-timed node clips: move, rotate, matrix and material, and the
// animation that plays them.

#include <cmath>

#include <glm/gtc/matrix_access.hpp>
#include <glm/gtc/matrix_transform.hpp>
#include <gtest/gtest.h>

#include <orvkernel/material/BasicMaterial.h>
#include <orvcore/animation/MaterialAnimationClip.h>
#include <orvcore/animation/MatrixAnimationClip.h>
#include <orvcore/animation/MoveAnimationClip.h>
#include <orvcore/animation/RigidAnimation.h>
#include <orvcore/animation/RotateAnimationClip.h>

#include "Expect.h"
#include "LogCapture.h"
#include "TestNodes.h"

using namespace orvcore;
using orvtest::Translate;
using Texts = std::vector<std::string>;

namespace {

glm::vec3 Position(const SceneNode& node) { return glm::vec3(node.GetTransform()[3]); }

} // namespace

TEST(RigidAnimation, MoveClipAtStartMiddleEndAndAgainAfterALoop)
{
    auto node = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    node->SetTransform(Translate(1, 0, 0));
    RigidAnimation animation;
    animation.Add(std::make_shared<MoveAnimationClip>(node, glm::vec3(0, 0, 10), 1.0f, 3.0f));
    animation.SetLoop(true);

    struct Step {
        double at;
        bool result;
        glm::vec3 position;
    };
    // A run starts at the first step (100 s on this timeline).
    const Step steps[] = {
        {100.0, true, {1, 0, 0}},  // 0 s: before the clip, which still counts
        {102.0, true, {1, 0, 5}},  // half way
        {103.5, true, {1, 0, 10}}, // the end: the clip disables itself
        {104.0, false, {1, 0, 10}}, // no clip left: the run ends
        {105.0, true, {1, 0, 10}}, // looping: a new run from here
        {107.0, true, {1, 0, 15}}, // ... moving on from where the node stood
    };
    for (const Step& s : steps) {
        EXPECT_EQ(animation.PlayAt(s.at), s.result) << s.at;
        EXPECT_VEC(Position(*node), s.position) << s.at;
    }
    EXPECT_EQ(node->GetUpdateVersion(), 4u); // born dirty, then one request per move

    // Without Loop a finished animation stays off until Reset.
    animation.SetLoop(false);
    EXPECT_TRUE(animation.PlayAt(110.0));
    EXPECT_FALSE(animation.PlayAt(111.0));
    EXPECT_FALSE(animation.PlayAt(112.0));
    EXPECT_FALSE(animation.GetEnabled());
    EXPECT_EQ(animation.GetDuration(), -1.0f);
}

TEST(RigidAnimation, ClockDrivenPlayIgnoresItsArgument)
{
    // Without clips the first call ends the run.
    RigidAnimation empty;
    EXPECT_FALSE(empty.Play(0.0f));
    EXPECT_FALSE(empty.GetEnabled());

    // Play(5) starts a run at 0 s of the clock: a clip from 1 s is not
    // reached, whatever the argument says.
    auto node = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    RigidAnimation animation;
    animation.Add(std::make_shared<MoveAnimationClip>(node, glm::vec3(0, 0, 1), 10.0f, 1.0f, 60.0f));
    EXPECT_TRUE(animation.Play(5.0f));
    EXPECT_EQ(animation.GetDuration(), 0.0f);
    EXPECT_TRUE(animation.Play(5.0f));
    EXPECT_LT(animation.GetDuration(), 1.0f);
    EXPECT_EQ(node->GetTransform(), glm::mat4(1.0f));

    animation.SetPaused(true);
    EXPECT_FALSE(animation.Play(0.0f));
    orvtest::LogCapture log;
    animation.Add(nullptr);
    EXPECT_FALSE(animation.PlayAt(std::nan("")));
    EXPECT_EQ(log.warnings, (Texts{"Clip is null!", "Animation time is not finite!"}));
}

TEST(RigidAnimation, RotateClipTurnsAboutPivotOrBoxCentre)
{
    const float quarter = glm::radians(90.0f);
    // About the pivot (10, 0, 0): the origin goes to (10, -10, 0) at the end.
    auto pivoted = orvtest::MakeLeaf(glm::vec3(-1.0f), glm::vec3(1.0f));
    RotateAnimationClip aboutPivot(pivoted, glm::vec3(10, 0, 0), glm::vec3(0, 0, 2), quarter, 0.0f, 2.0f);
    EXPECT_TRUE(aboutPivot.Play(1.0f)); // half: 45 degrees
    const float h = 10.0f - 10.0f * std::cos(glm::radians(45.0f));
    EXPECT_VEC(Position(*pivoted), glm::vec3(h, -10.0f * std::sin(glm::radians(45.0f)), 0), 1e-4f);
    EXPECT_TRUE(aboutPivot.Play(2.0f));
    EXPECT_FALSE(aboutPivot.GetEnabled());
    EXPECT_VEC(Position(*pivoted), glm::vec3(10, -10, 0), 1e-4f);

    // Without a pivot: the centre of the world box when the clip starts.
    auto centred = orvtest::MakeLeaf(glm::vec3(4, 0, 0), glm::vec3(6, 2, 2)); // centre (5, 1, 1)
    centred->UpdateTransform(glm::mat4(1.0f));
    RotateAnimationClip aboutCentre(centred, glm::vec3(0, 0, 1), quarter, 1.0f, 2.0f);
    EXPECT_FALSE(aboutCentre.Play(0.5f));
    EXPECT_TRUE(aboutCentre.Play(3.0f));
    centred->UpdateTransform(glm::mat4(1.0f));
    EXPECT_VEC(centred->GetWorldBBox().getMinimum(), glm::vec3(4, 0, 0));
    EXPECT_VEC(centred->GetWorldBBox().getMaximum(), glm::vec3(6, 2, 2));
    EXPECT_VEC(Position(*centred), glm::vec3(6, -4, 0), 1e-5f);
}

TEST(RigidAnimation, MatrixClipSlerpsRotationAndDropsScale)
{
    auto node = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    // Translation only, with a scale in the start matrix: pure translations.
    MatrixAnimationClip moving(node, glm::scale(Translate(0, 0, 0), glm::vec3(3.0f)), Translate(10, 20, 0), 0.0f, 4.0f);
    moving.Play(1.0f);
    EXPECT_EQ(node->GetTransform(), Translate(2.5f, 5, 0));
    // A turn of 120 degrees blended half way is one of 60, translation halved.
    const glm::mat4 end = glm::rotate(Translate(4, 0, 0), glm::radians(120.0f), glm::vec3(0, 0, 1));
    const glm::mat4 half = MatrixAnimationClip::Blend(glm::mat4(1.0f), end, 0.5f);
    EXPECT_VEC(glm::vec3(half * glm::vec4(1, 0, 0, 1)), glm::vec3(2.5f, std::sqrt(0.75f), 0), 1e-5f);
    EXPECT_EQ(glm::row(half, 3), glm::vec4(0, 0, 0, 1));
    // The end is the end matrix exactly, scale included.
    const glm::mat4 scaled = glm::scale(end, glm::vec3(2.0f));
    MatrixAnimationClip ending(node, glm::mat4(1.0f), scaled, 0.0f, 1.0f);
    EXPECT_TRUE(ending.Play(1.0f));
    EXPECT_EQ(node->GetTransform(), scaled);
    EXPECT_FALSE(ending.GetEnabled());
}

TEST(RigidAnimation, MaterialClipBlinksInHalfPeriods)
{
    auto node = orvtest::MakeLeaf(glm::vec3(0.0f), glm::vec3(1.0f));
    auto face = BasicMaterial::Create("blink.face");
    auto edge = BasicMaterial::Create("blink.edge");
    MaterialAnimationClip blink(node, face, edge, 0.5f, 0.0f, 2.0f);
    const std::pair<float, bool> steps[] = {{0.0f, false}, {0.49f, false}, {0.5f, true}, {0.99f, true},
                                            {1.0f, false}, {1.49f, false}, {1.6f, true}, {2.0f, false}};
    for (const auto& s : steps) {
        EXPECT_TRUE(blink.Play(s.first));
        EXPECT_EQ(node->GetOverrideFaceMaterial(), s.second ? face : nullptr) << s.first;
        EXPECT_EQ(node->GetOverrideEdgeMaterial(), s.second ? edge : nullptr) << s.first;
    }
    EXPECT_FALSE(blink.GetEnabled());
    EXPECT_EQ(node->GetUpdateVersion(), 1u); // nothing moved

    orvtest::LogCapture log;
    MaterialAnimationClip still(node, face, edge, 0.0f, 0.0f, 2.0f);
    EXPECT_TRUE(still.Play(1.0f));
    EXPECT_EQ(node->GetOverrideFaceMaterial(), nullptr);
    EXPECT_EQ(log.warnings, Texts{"Blink period is not positive!"});
}
