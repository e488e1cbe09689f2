#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <orvcore/robot/RobotAnimation.h>
#include <orvcore/robot/RobotArm.h>

#include "Expect.h"
#include "LogCapture.h"
#include "RobotTestArms.h"

using namespace orvcore;
using namespace orvtest;

namespace {

std::shared_ptr<RobotAnimationClip> Clip(unsigned int joint, double from, double to, double start, double end)
{
    return std::make_shared<RobotAnimationClip>(joint, from, to, start, end);
}

} // namespace

TEST(RobotAnimationClip, RampsUpAndDownAndEndsExactly)
{
    auto arm = MakeArm({{0, 1, 0, 0}});
    struct Case {
        double from, to, t, value;
        bool played, enabled;
    };
    const Case cases[] = {{0, 90, -0.5, 0, false, true}, {0, 90, 1, 45, true, true}, {0, 90, 2, 90, true, false},
                          {0, 90, 7, 90, true, false},   {90, 0, 1, 45, true, true}, {90, 0, 2.5, 0, true, false}};
    for (const Case& c : cases) {
        arm->SetVariable(0, -1.0);
        auto clip = Clip(0, c.from, c.to, 0, 2);
        EXPECT_EQ(clip->Play(arm, c.t), c.played) << c.from << " to " << c.to << " at " << c.t;
        EXPECT_EQ(arm->GetVariable(0), c.played ? c.value : -1.0) << c.from << " to " << c.to << " at " << c.t;
        EXPECT_EQ(clip->GetEnabled(), c.enabled);
    }
}

// Two clips on joint 0 one after the other (the second waiting for its
// start), one on joint 1 alongside them; the arm's frames follow each step.
TEST(RobotAnimation, QueuesPlayInOrderAndEndInTheLastPose)
{
    auto arm = MakeArm({{0, 2, 0, 0}, {0, 1, 0, 0}});
    RobotAnimation animation(arm);
    animation.AddClip(Clip(0, 0, 1, 0, 1));
    animation.AddClip(Clip(0, 1, 3, 1.5, 2.5));
    animation.AddClip(Clip(1, 0, 2, 0, 2));
    ASSERT_EQ(animation.GetClipCountOfJoint(0), 2u);
    struct Step {
        double t, q0, q1;
        bool running;
    };
    const Step steps[] = {{10, 0, 0, true},       {10.5, 0.5, 0.5, true}, {11, 1, 1, true},  {11.2, 1, 1.2, true},
                          {12, 2, 2, true},       {12.5, 3, 2, true},     {12.6, 3, 2, false}};
    for (const Step& s : steps) {
        EXPECT_EQ(animation.PlayAt(s.t), s.running) << "at " << s.t;
        EXPECT_NEAR(arm->GetVariable(0), s.q0, 1e-6) << "at " << s.t;
        EXPECT_NEAR(arm->GetVariable(1), s.q1, 1e-6) << "at " << s.t;
        const glm::vec3 tip(2 * std::cos(s.q0) + std::cos(s.q0 + s.q1), 2 * std::sin(s.q0) + std::sin(s.q0 + s.q1), 0);
        EXPECT_VEC(glm::vec3(arm->GetFinalTransform()[3]), tip, 1e-4f) << "at " << s.t;
    }
    EXPECT_FALSE(animation.GetEnabled());
    EXPECT_FALSE(animation.PlayAt(13));

    // Looping: the step after the end starts a new run at elapsed time 0.
    animation.SetLoop(true);
    EXPECT_TRUE(animation.PlayAt(20));
    EXPECT_EQ(animation.GetDuration(), 0.0f);
    EXPECT_EQ(arm->GetVariable(0), 0.0);
    EXPECT_TRUE(animation.PlayAt(20.5));
    EXPECT_NEAR(arm->GetVariable(1), 0.5, 1e-6);
}

TEST(RobotAnimation, ClipListsAndRefusals)
{
    auto arm = MakeArm({{0, 1, 0, 0}});
    RobotAnimation animation(arm);
    auto clip = Clip(0, 0, 1, 0, 1);
    animation.AddClip(clip);
    LogCapture log;
    animation.AddClip(nullptr);
    EXPECT_EQ(animation.GetClip(3, 0), nullptr);
    EXPECT_EQ(animation.GetClip(0, 1), nullptr);
    EXPECT_EQ(animation.GetClip(0, 0), clip);
    EXPECT_FALSE(animation.PlayAt(NAN));
    EXPECT_EQ(log.warnings, (std::vector<std::string>{"Clip is null!", "Out of range!", "Animation time is not finite!"}));
    EXPECT_TRUE(animation.RemoveClip(clip));
    EXPECT_FALSE(animation.RemoveClip(clip));
    // Nothing to play: the first step ends the run.
    EXPECT_FALSE(animation.PlayAt(0));
    EXPECT_FALSE(animation.GetEnabled());
}
